#pragma once

#include <CorvaneQt/CorvaneQt.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileOpenEvent>
#include <QJsonDocument>
#include <QLocale>
#include <QPointer>
#include <QSettings>
#include <QUrl>
#include <cstdio>
#include <memory>
#include <utility>

/// What the pages of the shop use of the library. Lives on the main thread.
class Shop : public QObject {
  Q_OBJECT
  Q_PROPERTY(QVariantList products READ products CONSTANT)
  /// What the library's callbacks reported, one line each, newest first.
  Q_PROPERTY(QStringList messages MEMBER messages_ NOTIFY messagesChanged)

 public:
  /// Registers the client's callbacks. The shop's own settings are kept in `settingsFile`.
  Shop(std::shared_ptr<Corvane> client, const QString& settingsFile)
      : client_(std::move(client)), settings_(settingsFile, QSettings::IniFormat) {
    // The client keeps the callbacks, and may outlive the shop.
    client_->onAttribution([self = QPointer(this)](const CorvaneAttribution& result) {
      if (self) self->showAttribution(result);
    });
    client_->onLink([self = QPointer(this)](const CorvaneDeepLink& link, CorvaneLinkSource source) {
      if (self) self->showLink(link, source == CorvaneLinkSource::deferred);
    });
    client_->onError([self = QPointer(this)](const std::exception& error) {
      if (self) self->addMessage(tr("Error: %1").arg(QString::fromUtf8(error.what())));
    });
    QCoreApplication::instance()->installEventFilter(this);
    // Sends an install that an earlier launch could not send.
    if (isWelcomed()) client_->trackInstall(false);
  }

  /// Whether the user has left the welcome page, in this launch or an earlier one.
  Q_INVOKABLE bool isWelcomed() const { return settings_.value("welcomed").toBool(); }

  /// The user leaves the welcome page. After a paste the paste button has started the install.
  Q_INVOKABLE void finishWelcome(bool hasPasted) {
    if (!hasPasted) client_->trackInstall(false);
    settings_.setValue("welcomed", true);
  }

  /// Whether consent is required and the user has not answered yet.
  Q_INVOKABLE bool asksForConsent() const {
    return client_->options().requireConsent && !settings_.value("consentAnswered").toBool();
  }

  Q_INVOKABLE void answerConsent(bool isGranted) {
    client_->setConsent(isGranted);
    settings_.setValue("consentAnswered", true);
  }

  /// The user follows a link that opens the running application.
  Q_INVOKABLE void openLink(const QString& link) {
    if (!client_->handleDeepLink(CorvaneQt::toStdString(link)))
      addMessage(tr("Not a tracking link: %1").arg(link));
  }

  /// The user buys something at this price in euros.
  Q_INVOKABLE void buy(double price) {
    const QString amount = QLocale().toCurrencyString(price, QStringLiteral("€"));
    client_->trackEventAsync("purchase", price, "EUR")
        .whenDone([self = QPointer(this), amount](const auto& purchase) {
          if (self) self->showPurchase(purchase, amount);
        });
  }

  /// Prints a line for a program that watches the shop.
  Q_INVOKABLE void report(const QString& text) const {
    std::printf("shop: %s\n", qUtf8Printable(text));
    std::fflush(stdout);
  }

  /// Handles the links that the system passes to the running application.
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() != QEvent::FileOpen) return QObject::eventFilter(watched, event);
    const QUrl url = static_cast<QFileOpenEvent*>(event)->url();
    return !url.isLocalFile() && CorvaneQt::handleDeepLink(*client_, url);
  }

 signals:
  void messagesChanged();
  /// The library resolved a link. `campaign` and `discount`, in percent, are empty where the link has none.
  void linkArrived(const QString& path, const QString& campaign, const QString& discount);

 private:
  static QVariantList products() {
    QFile file(":/juniper/products.json");
    file.open(QIODevice::ReadOnly);
    return QJsonDocument::fromJson(file.readAll()).toVariant().toList();
  }

  void showAttribution(const CorvaneAttribution& result) {
    QString text = result.attributed() ? tr("Attribution: from a campaign") : tr("Attribution: organic");
    if (result.id()) text += tr(", install %1").arg(*result.id());
    if (result.deepLink()) text += tr(", link to %1").arg(CorvaneQt::toQString(result.deepLink()->path()));
    addMessage(text);
  }

  void showLink(const CorvaneDeepLink& link, bool isDeferred) {
    const QString path = CorvaneQt::toQString(link.path());
    const QString campaign = CorvaneQt::toQString(link.campaign());
    QString discount;
    if (link.customData() && link.customData()->contains("discount"))
      discount = CorvaneQt::toQString(link.customData()->at("discount"));
    QString text = (isDeferred ? tr("Deferred link: %1") : tr("Link: %1")).arg(path);
    if (!campaign.isEmpty()) text += tr(", campaign “%1”").arg(campaign);
    if (!discount.isEmpty()) text += tr(", discount %1").arg(discount);
    addMessage(text);
    emit linkArrived(path, campaign, discount);
  }

  void showPurchase(const CorvaneTask<CorvaneEventResult>& purchase, const QString& amount) {
    try {
      const auto id = purchase.get().id();
      addMessage(id ? tr("Purchase of %1: recorded, event %2").arg(amount).arg(*id)
                    : tr("Purchase of %1: not recorded without consent").arg(amount));
    } catch (const std::exception&) {  // onError has reported it
      addMessage(tr("Purchase of %1: waits to be sent again").arg(amount));
    }
  }

  /// Adds a message of one line: an error may contain line breaks that a server sent.
  void addMessage(const QString& text) {
    constexpr qsizetype messagesKept = 50;
    messages_.prepend(text.simplified());
    if (messages_.size() > messagesKept) messages_.removeLast();
    emit messagesChanged();
    report(messages_.first());
  }

  const std::shared_ptr<Corvane> client_;
  QSettings settings_;
  QStringList messages_;
};
