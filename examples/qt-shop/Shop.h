#pragma once

#include <QObject>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <memory>

#include <CorvaneQt/CorvaneQt.h>

/// The shop's side of the library: what the pages ask of it, and what it tells them. Lives on the main
/// thread.
class Shop : public QObject {
  Q_OBJECT
  /// Whether the user is past the welcome screen, in this launch or an earlier one.
  Q_PROPERTY(bool isWelcomed READ isWelcomed NOTIFY isWelcomedChanged)
  /// Whether the question for consent waits for its first answer.
  Q_PROPERTY(bool asksForConsent READ asksForConsent NOTIFY asksForConsentChanged)
  /// What the library told, a line each, newest first.
  Q_PROPERTY(QStringList told READ told NOTIFY toldChanged)

 public:
  /// `settingsFile` is where the shop remembers what it asked. Registers the client's callbacks.
  Shop(std::shared_ptr<Corvane> client, const QString& settingsFile);

  bool isWelcomed() const;
  bool asksForConsent() const;
  QStringList told() const { return told_; }

  /// The user answered the question for consent.
  Q_INVOKABLE void answerConsent(bool isGranted);
  /// The user pasted, which the paste button has told the library already.
  Q_INVOKABLE void finishWelcome();
  /// The user goes on without pasting.
  Q_INVOKABLE void browse();
  /// The user followed a link that opens the running application.
  Q_INVOKABLE void openLink(const QString& link);
  /// The user bought something at this price, in euros.
  Q_INVOKABLE void buy(double price);

  /// Links that the system hands to the running application.
  bool eventFilter(QObject* watched, QEvent* event) override;

 signals:
  void isWelcomedChanged();
  void asksForConsentChanged();
  void toldChanged();
  /// A line came to `told`.
  void heard(const QString& line);
  /// The library routed a link. `campaign` and `discount` are empty where the link has none; the discount is
  /// in percent.
  void linkArrived(const QString& path, const QString& campaign, const QString& discount);

 private:
  void registerCallbacks();
  void followVerdict(const CorvaneAttribution& verdict);
  void followLink(const CorvaneDeepLink& link, CorvaneLinkSource source);
  void followPurchase(const CorvaneTask<CorvaneEventResult>& purchase, const QString& amount);
  void tell(const QString& text);

  const std::shared_ptr<Corvane> client_;
  QSettings settings_;
  QStringList told_;
};
