#include <corvane.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

//! [executor]
/// A minimal event loop. It belongs to the thread that created it and accepts functions from every thread.
class EventLoop final : public CorvaneExecutor {
 public:
  void post(std::function<void()> function) override {
    {
      const std::lock_guard lock(mutex_);
      waiting_.push_back(std::move(function));
    }
    changed_.notify_one();
  }

  bool isCurrentThread() const override { return std::this_thread::get_id() == thread_; }

  void run() {
    for (open_ = true; open_;) next()();
  }

  void stop() {
    post([this] { open_ = false; });
  }

 private:
  std::function<void()> next() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !waiting_.empty(); });
    auto first = std::move(waiting_.front());
    waiting_.pop_front();
    return first;
  }

  const std::thread::id thread_ = std::this_thread::get_id();
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> waiting_;
  bool open_ = false;  // used on the loop's thread only
};
//! [executor]

//! [pasteboard]
/// For a toolkit whose clipboard may be accessed on the main thread only. The main thread keeps a copy of the
/// text here, so that the library never waits for the main thread.
class ClipboardCopy final : public CorvanePasteboard {
 public:
  /// `emptyClipboard` is called on the main thread.
  ClipboardCopy(std::weak_ptr<CorvaneExecutor> main, std::function<void()> emptyClipboard)
      : main_(std::move(main)), emptyClipboard_(std::move(emptyClipboard)) {}

  /// Call it before `Corvane::configure`, and whenever the clipboard changes.
  void clipboardChanged(std::optional<std::string> text) {
    const std::lock_guard lock(mutex_);
    text_ = std::move(text);
  }

  std::optional<std::string> string() override {
    const std::lock_guard lock(mutex_);
    return text_;
  }

  void clear() override {
    clipboardChanged(std::nullopt);
    if (const auto main = main_.lock()) main->post(emptyClipboard_);
  }

 private:
  const std::weak_ptr<CorvaneExecutor> main_;
  const std::function<void()> emptyClipboard_;
  std::mutex mutex_;
  std::optional<std::string> text_;
};
//! [pasteboard]

//! [tracking-authorization]
/// Asks the user with a dialog of the application.
class DialogAuthorization final : public CorvaneTrackingAuthorizationProvider {
 public:
  using Status = CorvaneTrackingAuthorizationStatus;
  /// Shows the dialog and returns. Calls the function when the user has decided.
  using Dialog = std::function<void(std::function<void(bool agreed)> completion)>;

  DialogAuthorization(Status stored, Dialog show)
      : status_(std::make_shared<std::atomic<Status>>(stored)), show_(std::move(show)) {}

  Status trackingAuthorizationStatus() override { return *status_; }

  void requestTrackingAuthorization(Completion completion) override {
    show_([status = status_, completion = std::move(completion)](bool agreed) {
      *status = agreed ? Status::authorized : Status::denied;
      completion(*status);
    });
  }

 private:
  const std::shared_ptr<std::atomic<Status>> status_;  // the dialog may outlive this object
  const Dialog show_;
};
//! [tracking-authorization]

//! [ad-network]
/// Passes each call to `send`, which returns the description of an error, or nullopt.
class AdNetwork final : public CorvaneAdNetworkProvider {
 public:
  using Send = std::function<std::optional<std::string>(const std::string& what)>;

  explicit AdNetwork(Send send) : send_(std::move(send)) {}

  void registerAppForAdNetworkAttribution() override { send_("register"); }

  void updatePostbackConversionValue(std::int64_t fineValue, Completion completion) override {
    completion(send_("value " + std::to_string(fineValue)));
  }

  void updatePostbackConversionValue(std::int64_t fineValue, CorvaneCoarseConversionValue coarseValue,
                                     Completion completion) override {
    completion(send_("value " + std::to_string(fineValue) + " " + std::string(coarseValue.rawValue())));
  }

 private:
  const Send send_;
};
//! [ad-network]

//! [item-provider]
/// One format of the clipboard's content, in the form of most toolkits: a MIME type and a function that
/// loads it.
class ClipboardItem final : public CorvaneItemProvider {
 public:
  using Load = std::function<void(Completion)>;

  ClipboardItem(std::string type, Load load) : type_(std::move(type)), load_(std::move(load)) {}

  bool canLoadText() override { return type_ == "text/plain" || type_ == "text/plain;charset=utf-8"; }

  void loadText(Completion completion) override { load_(std::move(completion)); }

 private:
  const std::string type_;
  const Load load_;
};
//! [item-provider]

//! [paste-control]
/// The button "Paste". Created, pressed and destroyed on the main thread.
class PasteButton {
 public:
  void pressed(const std::vector<std::shared_ptr<CorvaneItemProvider>>& clipboard) {
    coordinator_.paste(clipboard);
  }

 private:
  void show(const std::string& text) { std::printf("Pasted: %s\n", text.c_str()); }

  CorvanePasteCoordinator coordinator_{[this](const std::string& text) { show(text); }};
};
//! [paste-control]

}  // namespace

int main() {
  using Status = CorvaneTrackingAuthorizationStatus;
  const auto dialog = [](const std::function<void(bool)>& completion) {
    std::puts("The user agrees to be tracked.");
    completion(true);
  };
  const auto sendToAdNetwork = [](const std::string& what) {
    std::printf("To the ad network: %s\n", what.c_str());
    return std::optional<std::string>();
  };

  //! [platform]
  const auto loop = std::make_shared<EventLoop>();
  const auto clipboard = std::make_shared<ClipboardCopy>(loop, [] { std::puts("The clipboard is empty."); });
  Corvane::setPlatform(
      {.applicationIdentifier = "com.example.shop",
       .mainExecutor = loop,
       .pasteboard = clipboard,
       .trackingAuthorization = std::make_shared<DialogAuthorization>(Status::notDetermined, dialog),
       .adNetwork = std::make_shared<AdNetwork>(sendToAdNetwork),
       .operatingSystemVersion = {16, 1}});
  const auto client =
      Corvane::configure("cv_your_key", {.logEnabled = true,
                                         .autoTrackInstall = false,
                                         .clickTokenSource = CorvaneClickTokenSource::pasteButton});
  //! [platform]

  client->onAttribution([](const CorvaneAttribution& result) {
    std::puts(result.attributed() ? "This install came from a campaign." : "This install is organic.");
  });
  client->registerForSKAdAttribution();
  client->updateConversionValue(12, CorvaneCoarseConversionValue::high);
  PasteButton button;
  const auto text = std::make_shared<ClipboardItem>("text/plain", [](const auto& completion) {
    completion("http://127.0.0.1:8717/summer?cv_click=00112233445566778899aabbccddeeff");
  });
  button.pressed({text});
  client->trackInstallAsync(false).whenDone([&](const auto&) {
    client->requestTrackingAuthorization([&](bool isAuthorized) {
      std::printf("Tracking is %s.\n", isAuthorized ? "allowed" : "not allowed");
      loop->stop();
    });
  });
  loop->run();
}
