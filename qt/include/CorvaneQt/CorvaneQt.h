#pragma once

// Includes all headers of the Qt module and of the library.

#include <corvane.h>

#include <CorvaneQt/Conversions.h>
#include <CorvaneQt/Platform.h>
#include <CorvaneQt/QtMainExecutor.h>
#include <CorvaneQt/QtPasteboard.h>
