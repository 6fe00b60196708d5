#pragma once

#include <corvane/CorvanePlatform.h>

namespace CorvaneQt {

/// Returns the platform of a Qt application: a `QtMainExecutor`, a `QtPasteboard`, and as the application's
/// identifier its desktop file name (`QGuiApplication::desktopFileName`, such as "com.example.shop"), or its
/// name when it has none. Call it on the thread of the application object, while that object exists;
/// otherwise it throws `std::logic_error`.
///
///   Corvane::setPlatform(CorvaneQt::platform());
///
/// `CorvanePasteButton` requires this platform, or another one whose main executor is the application's
/// thread, because its `onToken` is called by that executor.
CorvanePlatform platform();

/// Registers the QML module `Corvane` with its type `CorvanePasteButton`. The module registers itself when
/// the application object is created; further calls have no effect. Call it only when the objects of this
/// module are part of a static library, because a linker leaves unused objects of such a library out.
void registerQmlModule();

}  // namespace CorvaneQt
