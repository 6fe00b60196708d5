#pragma once

// Everything that the Qt module offers to a host, and the library with it.

#include <corvane.h>

#include <CorvaneQt/Conversions.h>
#include <CorvaneQt/Platform.h>
#include <CorvaneQt/QtMainExecutor.h>
#include <CorvaneQt/QtPasteboard.h>
