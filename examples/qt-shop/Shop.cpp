#include "Shop.h"

#include <QCoreApplication>
#include <QFileOpenEvent>
#include <QLocale>
#include <QPointer>
#include <QUrl>
#include <utility>

namespace {

constexpr qsizetype kLinesKept = 50;
constexpr const char* kWelcomed = "welcomed";
constexpr const char* kConsentAnswered = "consentAnswered";

QString discountOf(const CorvaneDeepLink& link) {
  if (!link.customData()) return {};
  const auto discount = link.customData()->find("discount");
  return discount != link.customData()->end() ? CorvaneQt::toQString(discount->second) : QString();
}

}  // namespace

Shop::Shop(std::shared_ptr<Corvane> client, const QString& settingsFile)
    : client_(std::move(client)), settings_(settingsFile, QSettings::IniFormat) {
  registerCallbacks();
  QCoreApplication::instance()->installEventFilter(this);
  // What could not be reported in an earlier launch; skipped where it was.
  if (isWelcomed()) client_->trackInstall(false);
}

bool Shop::isWelcomed() const {
  return settings_.value(kWelcomed).toBool();
}

bool Shop::asksForConsent() const {
  return client_->options().requireConsent && !settings_.value(kConsentAnswered).toBool();
}

void Shop::answerConsent(bool isGranted) {
  client_->setConsent(isGranted);
  settings_.setValue(kConsentAnswered, true);
  emit asksForConsentChanged();
}

void Shop::finishWelcome() {
  settings_.setValue(kWelcomed, true);
  emit isWelcomedChanged();
}

void Shop::browse() {
  client_->trackInstall(false);
  finishWelcome();
}

void Shop::openLink(const QString& link) {
  if (!client_->handleDeepLink(CorvaneQt::toStdString(link))) tell(tr("Not a tracking link: %1").arg(link));
}

void Shop::buy(double price) {
  const QString amount = QLocale().toCurrencyString(price, QStringLiteral("€"));
  client_->trackEventAsync("purchase", price, "EUR")
      .whenDone([self = QPointer(this), amount](const CorvaneTask<CorvaneEventResult>& purchase) {
        if (self) self->followPurchase(purchase, amount);
      });
}

bool Shop::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() != QEvent::FileOpen) return QObject::eventFilter(watched, event);
  const QUrl url = static_cast<QFileOpenEvent*>(event)->url();
  return !url.isLocalFile() && CorvaneQt::handleDeepLink(*client_, url);
}

/// The callbacks are the client's, which may outlive the shop.
void Shop::registerCallbacks() {
  client_->onAttribution([self = QPointer(this)](const CorvaneAttribution& verdict) {
    if (self) self->followVerdict(verdict);
  });
  client_->onLink([self = QPointer(this)](const CorvaneDeepLink& link, CorvaneLinkSource source) {
    if (self) self->followLink(link, source);
  });
  client_->onError([self = QPointer(this)](const std::exception& error) {
    if (self) self->tell(tr("Error: %1").arg(QString::fromUtf8(error.what())));
  });
}

void Shop::followVerdict(const CorvaneAttribution& verdict) {
  QString text = verdict.attributed() ? tr("Attribution: from a campaign") : tr("Attribution: organic");
  if (verdict.id()) text += tr(", install %1").arg(*verdict.id());
  if (verdict.deepLink()) text += tr(", link to %1").arg(CorvaneQt::toQString(verdict.deepLink()->path()));
  tell(text);
}

void Shop::followLink(const CorvaneDeepLink& link, CorvaneLinkSource source) {
  const QString path = CorvaneQt::toQString(link.path());
  const QString campaign = CorvaneQt::toQString(link.campaign());
  const QString discount = discountOf(link);
  QString text = source == CorvaneLinkSource::deferred ? tr("Deferred link: %1") : tr("Link: %1");
  text = text.arg(path);
  if (!campaign.isEmpty()) text += tr(", campaign “%1”").arg(campaign);
  if (!discount.isEmpty()) text += tr(", discount %1").arg(discount);
  tell(text);
  emit linkArrived(path, campaign, discount);
}

void Shop::followPurchase(const CorvaneTask<CorvaneEventResult>& purchase, const QString& amount) {
  try {
    const auto id = purchase.get().id();
    tell(id ? tr("Purchase of %1: recorded, event %2").arg(amount).arg(*id)
            : tr("Purchase of %1: not recorded without consent").arg(amount));
  } catch (const std::exception&) {  // which onError has told
    tell(tr("Purchase of %1: waits to be sent again").arg(amount));
  }
}

/// On one line: an error may hold whatever a server sent.
void Shop::tell(const QString& text) {
  const QString line = text.simplified();
  told_.prepend(line);
  if (told_.size() > kLinesKept) told_.removeLast();
  emit toldChanged();
  emit heard(line);
}
