#include <QAccessible>
#include <QClipboard>
#include <QMimeData>
#include <QPalette>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalBlocker>
#include <QtTest>

#include "CorvaneQt/CorvaneQt.h"
#include "qt/QtApplication.h"
#include "qt/WatchedText.h"

namespace corvane::test {
namespace {

constexpr const char* pageSource = R"(
import QtQuick
import QtQuick.Controls
import Corvane

ApplicationWindow {
    property var tokens: []
    width: 390; height: 200; visible: true
    CorvanePasteButton {
        objectName: "paste"
        anchors.centerIn: parent
        onToken: text => tokens.push(text)
    }
}
)";

struct CorvanePasteButton : QtApplication {
  CorvanePasteButton() {
    Corvane::setPlatform(CorvaneQt::platform());
    QGuiApplication::clipboard()->clear();
    engine.emplace();
    engine->loadData(pageSource);
    window = qobject_cast<QQuickWindow*>(engine->rootObjects().value(0));
    button = window->findChild<QQuickItem*>("paste");
    // As assistive technology does, when the window appears.
    seen = QAccessible::queryAccessibleInterface(button);
    window->requestActivate();
    EXPECT_TRUE(QTest::qWaitForWindowActive(window));
  }
  ~CorvanePasteButton() override {
    engine.reset();
    Corvane::setPlatform({});
  }

  QPoint middle() const { return button->mapToScene(button->boundingRect().center()).toPoint(); }
  QStringList tokens() const { return window->property("tokens").toStringList(); }

  std::optional<QQmlApplicationEngine> engine;
  QQuickWindow* window = nullptr;
  QQuickItem* button = nullptr;
  QAccessibleInterface* seen = nullptr;
};

// The first test of the program: Qt makes accessible objects for the first application object of a process
// only.
TEST_F(CorvanePasteButton, IsPressedByKeysAndByAssistiveTechnology) {
  QGuiApplication::clipboard()->setText("by key");
  button->forceActiveFocus(Qt::TabFocusReason);
  for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter}) QTest::keyClick(window, key);
  EXPECT_TRUE(comesTrue([this] { return tokens() == QStringList(3, "by key"); }));
  QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, {}, "", true);
  QCoreApplication::sendEvent(window, &repeated);
  QCoreApplication::processEvents();
  EXPECT_EQ(tokens().size(), 3) << "a key that is held down pastes once";

  ASSERT_NE(seen, nullptr);
  EXPECT_EQ(seen->role(), QAccessible::Button);
  EXPECT_EQ(seen->text(QAccessible::Name), "Paste");
  EXPECT_TRUE(seen->state().focusable);
  ASSERT_NE(seen->actionInterface(), nullptr);
  seen->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  EXPECT_TRUE(comesTrue([this] { return tokens().size() == 4; }));
  button->setEnabled(false);
  seen->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  QCoreApplication::processEvents();
  EXPECT_EQ(tokens().size(), 4);
}

TEST_F(CorvanePasteButton, ReadsTheContentOnceWhenItIsPressedAndOnlyTheFormatsBefore) {
  EXPECT_FALSE(button->isEnabled());
  int reads = 0;
  QGuiApplication::clipboard()->setMimeData(new WatchedText(reads));
  EXPECT_TRUE(button->isEnabled());
  button->setProperty("hoverEnabled", true);
  QTest::mouseMove(window, middle());
  EXPECT_TRUE(comesTrue([this] { return button->property("hovered").toBool(); }));
  button->forceActiveFocus();
  QCoreApplication::processEvents();
  EXPECT_EQ(reads, 0);
  QTest::mouseClick(window, Qt::LeftButton, {}, middle());
  EXPECT_EQ(reads, 1);
  EXPECT_TRUE(comesTrue([this] { return tokens() == QStringList{"grüße"}; }));
  auto* const picture = new QMimeData;
  picture->setData("image/png", "not text");
  QGuiApplication::clipboard()->setMimeData(picture);
  EXPECT_FALSE(button->isEnabled());
}

TEST_F(CorvanePasteButton, LooksAgainAtTheClipboardWhenTheApplicationBecomesActive) {
  QClipboard* const clipboard = QGuiApplication::clipboard();
  const QSignalBlocker unnoticed(clipboard);
  clipboard->setText("copied elsewhere");
  EXPECT_FALSE(button->isEnabled());
  emit qGuiApp->applicationStateChanged(Qt::ApplicationActive);
  EXPECT_TRUE(button->isEnabled());
}

TEST_F(CorvanePasteButton, LooksAsTheApplicationDoes) {
  const auto background = [this] { return button->property("background").value<QQuickItem*>(); };
  EXPECT_EQ(background()->property("radius").toReal(), background()->height() / 2);
  const auto* const content = button->property("contentItem").value<QQuickItem*>();
  EXPECT_EQ(content->property("font"), button->property("font"));
  QGuiApplication::clipboard()->setText("text");
  QPalette palette = QGuiApplication::palette();
  palette.setColor(QPalette::Button, Qt::darkGreen);
  QGuiApplication::setPalette(palette);
  EXPECT_TRUE(comesTrue([&] { return background()->property("color").value<QColor>() == Qt::darkGreen; }));
}

}  // namespace
}  // namespace corvane::test
