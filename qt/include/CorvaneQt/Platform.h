#pragma once

#include <corvane/CorvanePlatform.h>

namespace CorvaneQt {

/// What a Qt application supplies to the library: `QtMainExecutor`, `QtPasteboard`, and as the application's
/// identifier its desktop file name (`QGuiApplication::desktopFileName`, such as "com.example.shop"), else
/// its name. To be called on the thread of the application object, while there is one; throws
/// `std::logic_error` otherwise.
///
///   Corvane::setPlatform(CorvaneQt::platform());
///
/// A `CorvanePasteButton` needs it too, or a platform of the host's own whose main executor is the
/// application's thread: its `onToken` comes from there.
CorvanePlatform platform();

/// Registers the QML module `Corvane` with its type `CorvanePasteButton`. It happens by itself when the
/// application object is made; again, it has no effect. To be called by hand only where this module's objects
/// were put into a static library, from which a linker takes only what is asked for.
void registerQmlModule();

}  // namespace CorvaneQt
