#include <CorvaneQt/CorvaneQt.h>

// A host's own static library, with the module inside.
void registerPages() {
  CorvaneQt::registerQmlModule();
}
