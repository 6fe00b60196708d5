#include "PasteSource.h"

#include <QClipboard>
#include <QGuiApplication>
#include <memory>
#include <utility>

#include "ClipboardText.h"
#include "CorvaneQt/Conversions.h"

namespace CorvaneQt {
namespace {

/// The clipboard as a single pasted item.
struct ClipboardItem : CorvaneItemProvider {
  bool canLoadText() override { return clipboardOffersText(); }
  void loadText(Completion completion) override { completion(clipboardText()); }
};

}  // namespace

PasteSource::PasteSource(QObject* parent)
    : QObject(parent), coordinator_([this](const std::string& text) { emit token(toQString(text)); }) {
  if (QClipboard* const clipboard = applicationClipboard()) {
    connect(clipboard, &QClipboard::dataChanged, this, &PasteSource::look);
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, &PasteSource::look);
  }
  look();
}

void PasteSource::paste() {
  coordinator_.paste({std::make_shared<ClipboardItem>()});
}

void PasteSource::look() {
  if (std::exchange(canPaste_, clipboardOffersText()) != canPaste_) emit canPasteChanged();
}

}  // namespace CorvaneQt
