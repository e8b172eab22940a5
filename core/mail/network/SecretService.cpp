#include "core/mail/network/SecretService.h"

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <dlfcn.h>
#include <libsecret/secret.h>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>

#include "core/platform/Environment.h"
#include "core/platform/Folder.h"

namespace vesk::secretService {

namespace {

// What we use of libsecret. It is loaded when it is first needed: with all that it brings, it would slow down the start
// of every command, and systems without a desktop don't have it.
struct Library {
  decltype(&::secret_password_store_sync) store = nullptr;
  decltype(&::secret_password_lookup_sync) lookup = nullptr;
  decltype(&::secret_password_clear_sync) clear = nullptr;
  decltype(&::secret_password_free) free = nullptr;
  decltype(&::g_cancellable_new) newCancellable = nullptr;
  decltype(&::g_cancellable_cancel) cancel = nullptr;
  decltype(&::g_object_unref) unref = nullptr;
  decltype(&::g_error_free) freeError = nullptr;

  // Nullptr where it isn't installed.
  static const Library* loaded() {
    static const std::unique_ptr<const Library> library = load();
    return library.get();
  }

 private:
  // It stays loaded: threads of its own run in it.
  static std::unique_ptr<const Library> load() {
    void* handle = ::dlopen("libsecret-1.so.0", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!handle) return nullptr;
    auto library = std::make_unique<Library>();
    const auto find = [handle](auto& function, const char* name) {
      function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(::dlsym(handle, name));
      return function != nullptr;
    };
    const bool isWhole =
        find(library->store, "secret_password_store_sync") && find(library->lookup, "secret_password_lookup_sync") &&
        find(library->clear, "secret_password_clear_sync") && find(library->free, "secret_password_free") &&
        find(library->newCancellable, "g_cancellable_new") && find(library->cancel, "g_cancellable_cancel") &&
        find(library->unref, "g_object_unref") && find(library->freeError, "g_error_free");
    return isWhole ? std::move(library) : nullptr;
  }
};

// Without a session, GLib would start a message bus of its own.
bool hasSession() {
  if (environment::value("DBUS_SESSION_BUS_ADDRESS")) return true;
  const auto runtime = environment::value("XDG_RUNTIME_DIR");
  return runtime && ::access(joinPath(*runtime, "bus").c_str(), F_OK) == 0;
}

// The user needs their time to unlock a keyring, when there is a screen to be asked on.
std::chrono::seconds patience() {
  return environment::value("DISPLAY") || environment::value("WAYLAND_DISPLAY") ? std::chrono::seconds(60)
                                                                                : std::chrono::seconds(5);
}

// Ends the call that it is given to when the time is up.
class Deadline {
 public:
  explicit Deadline(const Library& library)
      : library_(library), cancellable_(library.newCancellable()), thread_([this](const std::stop_token& stop) {
          std::mutex mutex;
          std::unique_lock lock(mutex);
          std::condition_variable_any stopped;
          stopped.wait_for(lock, stop, patience(), [] { return false; });
          if (!stop.stop_requested()) library_.cancel(cancellable_);
        }) {}
  ~Deadline() {
    thread_.request_stop();
    thread_.join();
    library_.unref(cancellable_);
  }
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

  GCancellable* cancellable() const { return cancellable_; }

 private:
  const Library& library_;
  GCancellable* cancellable_;
  std::jthread thread_;
};

constexpr const char* attribute = "account";

// How our entries are told from those of other programs.
const SecretSchema& schema() {
  static const SecretSchema schema = [] {
    SecretSchema made = {};
    made.name = "org.vesk.MailPassword";
    made.attributes[0] = {attribute, SECRET_SCHEMA_ATTRIBUTE_STRING};
    return made;
  }();
  return schema;
}

// Calls libsecret, which tells a failure by the last argument; `fallback` then, and where it can't be called.
template <typename Result, typename Call>
Result call(Result fallback, const Call& run) {
  const Library* library = hasSession() ? Library::loaded() : nullptr;
  if (!library) return fallback;
  const Deadline deadline(*library);
  GError* error = nullptr;
  const Result result = run(*library, deadline.cancellable(), &error);
  if (!error) return result;
  library->freeError(error);
  return fallback;
}

}  // namespace

bool store(const std::string& accountID, const std::string& label, std::string_view password) {
  WipedText text;
  text.append(password);
  text.append(std::string_view("\0", 1));
  return call<bool>(false, [&](const Library& library, GCancellable* cancellable, GError** error) {
    return library.store(&schema(), SECRET_COLLECTION_DEFAULT, label.c_str(), text.view().data(), cancellable, error,
                         attribute, accountID.c_str(), nullptr) != 0;
  });
}

std::optional<WipedText> find(const std::string& accountID) {
  gchar* found = call<gchar*>(nullptr, [&](const Library& library, GCancellable* cancellable, GError** error) {
    return library.lookup(&schema(), cancellable, error, attribute, accountID.c_str(), nullptr);
  });
  if (!found) return std::nullopt;
  std::optional<WipedText> password(std::in_place);
  password->append(found);
  Library::loaded()->free(found);
  return password;
}

bool remove(const std::string& accountID) {
  return call<bool>(false, [&](const Library& library, GCancellable* cancellable, GError** error) {
    return library.clear(&schema(), cancellable, error, attribute, accountID.c_str(), nullptr) != 0;
  });
}

}  // namespace vesk::secretService
