#include "core/system/linux/SecretServiceStore.h"

#include <libsecret/secret.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <future>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/system/linux/SystemBus.h"

namespace orvik {

namespace {

/// The service, the bus or the user did not do what was asked.
struct ServiceFailure {};

void require(bool succeeded) {
  if (!succeeded) {
    throw ServiceFailure();
  }
}

/// How long a call may take to end when it is to end: most do at once, some ask a service to.
constexpr std::chrono::seconds ending{1};

struct Release {
  void operator()(gpointer object) const { g_object_unref(object); }
  void operator()(GHashTable* table) const { g_hash_table_unref(table); }
  void operator()(GList* list) const { g_list_free(list); }
  void operator()(SecretValue* value) const { secret_value_unref(value); }
  void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
template <typename Object>
using Holder = std::unique_ptr<Object, Release>;
using Item = Holder<SecretItem>;
using Collection = Holder<SecretCollection>;
using Items = std::vector<Item>;
using Cancellable = std::shared_ptr<GCancellable>;

bool isLocked(const Item& item) { return secret_item_get_locked(item.get()) != FALSE; }

std::string pathOf(gpointer object) { return g_dbus_proxy_get_object_path(G_DBUS_PROXY(object)); }

/// Valid as long as the key is.
Holder<GHashTable> attributesOf(const SecretStore::Key& key) {
  Holder<GHashTable> attributes(g_hash_table_new(g_str_hash, g_str_equal));
  for (const auto& [name, value] :
       {std::pair{"service", &key.service}, {"account", &key.account}}) {
    g_hash_table_insert(attributes.get(), const_cast<char*>(name),
                        const_cast<char*>(value->c_str()));
  }
  return attributes;
}

/// The libraries write to the standard error stream what a service does wrong, which is nothing
/// to our users. Only while this lives, and only what they say themselves.
class Silence {
 public:
  Silence() : handler(g_log_set_handler(domain, G_LOG_LEVEL_MASK, ignore, nullptr)) {}
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;
  ~Silence() { g_log_remove_handler(domain, handler); }

 private:
  static constexpr const char* domain = "libsecret";
  static void ignore(const gchar* /*domain*/, GLogLevelFlags /*level*/, const gchar* /*message*/,
                     gpointer /*data*/) {}

  guint handler;
};

/// The library's service with prompts that always end: its own (libsecret 0.20.5) go on for ever
/// when they are cancelled, when the service dies, and when it dismisses them in its own words.
class PromptingService {
 public:
  static GType type() {
    static const GType registered = g_type_register_static_simple(
        SECRET_TYPE_SERVICE, "OrvikSecretService", sizeof(SecretServiceClass), initialise,
        sizeof(SecretService), nullptr, GTypeFlags{});
    return registered;
  }

 private:
  static void initialise(gpointer type, gpointer /*data*/) {
    auto* const service = static_cast<SecretServiceClass*>(type);
    service->prompt_async = show;
    service->prompt_finish = finish;
  }
  static void show(SecretService* self, SecretPrompt* prompt, const GVariantType* resultType,
                   GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
    if (cancellable != nullptr) {
      // Not by the library, which then never gives up its connection to the bus.
      g_signal_connect_object(cancellable, "cancelled", G_CALLBACK(dismiss), prompt,
                              G_CONNECT_SWAPPED);
    }
    secret_prompt_perform(prompt, nullptr, resultType, nullptr, end,
                          g_task_new(self, nullptr, callback, data));
  }
  /// As if the user had.
  static void dismiss(GDBusProxy* prompt) {
    g_dbus_proxy_call(prompt, "Dismiss", nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr,
                      nullptr, nullptr);
  }
  static void end(GObject* prompt, GAsyncResult* result, gpointer data) {
    const Holder<GTask> task(G_TASK(data));
    GError* error = nullptr;
    GVariant* const given = secret_prompt_perform_finish(SECRET_PROMPT(prompt), result, &error);
    if (error != nullptr) {
      g_task_return_error(task.get(), error);
    } else if (given == nullptr) {
      g_task_return_new_error(task.get(), G_IO_ERROR, G_IO_ERROR_CANCELLED, "dismissed");
    } else {
      g_task_return_pointer(task.get(), given,
                            [](gpointer value) { g_variant_unref(static_cast<GVariant*>(value)); });
    }
  }
  static GVariant* finish(SecretService* /*self*/, GAsyncResult* result, GError** error) {
    return static_cast<GVariant*>(g_task_propagate_pointer(G_TASK(result), error));
  }
};

/// What the library's objects put off, on the thread that makes them. The application's own main
/// loop is nobody's business here.
class OwnMainContext {
 public:
  OwnMainContext() : context(g_main_context_new()) {
    g_main_context_push_thread_default(context.get());
  }
  OwnMainContext(const OwnMainContext&) = delete;
  OwnMainContext& operator=(const OwnMainContext&) = delete;
  ~OwnMainContext() {
    // What has been put off until the context is idle holds references.
    while (g_main_context_iteration(context.get(), FALSE) != FALSE) {
    }
    g_main_context_pop_thread_default(context.get());
  }

 private:
  Holder<GMainContext> context;
};

/// One connection to the service, with a session in which secrets pass the bus encrypted. Belongs
/// to the thread that makes it; waits without end unless it is cancelled.
class Service {
 public:
  explicit Service(Cancellable cancelled) : cancellable(std::move(cancelled)) {
    bus.reset(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable.get(), nullptr));
    require(bus != nullptr && g_dbus_connection_is_closed(bus.get()) == FALSE);
    // This connection, which the libraries share, would otherwise end the process with the bus.
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    // Not the library's own instance, which would outlive the bus.
    service.reset(
        secret_service_open_sync(PromptingService::type(), SecretServiceStore::serviceName,
                                 SECRET_SERVICE_OPEN_SESSION, cancellable.get(), nullptr));
    require(service != nullptr);
  }

  Items search(const SecretStore::Key& key) {
    GError* error = nullptr;
    const Holder<GList> list(secret_service_search_sync(service.get(), nullptr,
                                                        attributesOf(key).get(), SECRET_SEARCH_ALL,
                                                        cancellable.get(), &error));
    const bool isFound = error == nullptr;
    g_clear_error(&error);
    Items items;
    for (const GList* at = list.get(); at != nullptr; at = at->next) {
      items.emplace_back(SECRET_ITEM(at->data));
    }
    require(isFound);
    return items;
  }

  /// Null when there is none.
  Collection defaultCollection() {
    GError* error = nullptr;
    Collection collection(secret_collection_for_alias_sync(service.get(), SECRET_COLLECTION_DEFAULT,
                                                           SECRET_COLLECTION_NONE,
                                                           cancellable.get(), &error));
    const bool isAnswered = error == nullptr;
    g_clear_error(&error);
    require(isAnswered);
    return collection;
  }

  /// Asks the user to unlock those items and collections that are locked.
  void unlock(const std::vector<GDBusProxy*>& objects) {
    Holder<GList> locked;
    for (GDBusProxy* const object : objects) {
      locked.reset(g_list_prepend(locked.release(), object));
    }
    const gint count = secret_service_unlock_sync(service.get(), locked.get(), cancellable.get(),
                                                  nullptr, nullptr);
    require(count >= 0 && static_cast<guint>(count) == g_list_length(locked.get()));
  }

  Bytes secretOf(SecretItem* item) {
    require(secret_item_load_secret_sync(item, cancellable.get(), nullptr) != FALSE);
    const Holder<SecretValue> value(secret_item_get_secret(item));
    require(value != nullptr);
    gsize size = 0;
    const gchar* const data = secret_value_get(value.get(), &size);
    const ByteView bytes = bytesOf({data, size});
    return {bytes.begin(), bytes.end()};
  }

  /// Some services ask the user whether it is meant.
  void remove(SecretItem* item) {
    require(secret_item_delete_sync(item, cancellable.get(), nullptr) != FALSE);
  }

  void add(const SecretStore::Key& key, const std::string& label, SecretValue* value) {
    require(secret_service_store_sync(service.get(), nullptr, attributesOf(key).get(),
                                      SECRET_COLLECTION_DEFAULT, label.c_str(), value,
                                      cancellable.get(), nullptr) != FALSE);
  }

 private:
  Silence silence;
  OwnMainContext context;
  Cancellable cancellable;
  Holder<GDBusConnection> bus;
  Holder<SecretService> service;
};

/// What `question` gives, asked on a thread of its own. When it does not end in time it is
/// cancelled, and when it does not end then either, as the library's waiting for the user may not,
/// its thread is left behind.
template <typename Question>
std::invoke_result_t<Question&, Service&> askWithin(std::chrono::milliseconds limit,
                                                    Question question) {
  const Cancellable cancellable(g_cancellable_new(), Release());
  std::packaged_task<std::invoke_result_t<Question&, Service&>()> task(
      [cancellable, question = std::move(question)]() mutable {
        Service service(cancellable);
        return question(service);
      });
  auto result = task.get_future();
  std::thread(std::move(task)).detach();
  if (result.wait_for(limit) != std::future_status::ready) {
    g_cancellable_cancel(cancellable.get());
    require(result.wait_for(ending) == std::future_status::ready);
  }
  return result.get();
}

/// As the environment names it, else where a session of systemd has it; empty without one.
std::string sessionBusAddress() {
  if (const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS")) {
    return address;
  }
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  const std::string socket = std::string(folder == nullptr ? "" : folder) + "/bus";
  struct stat status {};
  return stat(socket.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) ? "unix:path=" + socket
                                                                        : "";
}

bool namesService(const std::optional<UntypedValue>& reply) {
  const auto* const names = reply ? reply->get<UntypedValue::List>() : nullptr;
  return names != nullptr && std::ranges::any_of(*names, [](const UntypedValue& name) {
           const auto* const text = name.get<std::string>();
           return text != nullptr && *text == SecretServiceStore::serviceName;
         });
}

}  // namespace

/// Unless the service runs, or would be started when asked.
void SecretServiceStore::requireService() const {
  const std::string address = sessionBusAddress();
  if (address.empty()) {
    throw Absent();
  }
  SystemBus bus(address);
  bus.allow(limits.answer);
  constexpr std::array methods{"ListNames", "ListActivatableNames"};
  const bool isThere = std::ranges::any_of(methods, [&](const char* method) {
    return namesService(bus.call({.service = "org.freedesktop.DBus",
                                  .object = "/org/freedesktop/DBus",
                                  .interface = "org.freedesktop.DBus",
                                  .name = method}));
  });
  if (bus.isLate()) {
    throw Unreadable();
  }
  if (!isThere) {
    throw Absent();
  }
}

template <typename Question>
auto SecretServiceStore::ask(Question question) {
  if (std::chrono::steady_clock::now() < restEnd) {
    throw Unreadable();
  }
  const auto begin = std::chrono::steady_clock::now();
  try {
    requireService();
    return askWithin(limits.answer, std::move(question));
  } catch (...) {
    if (std::chrono::steady_clock::now() - begin >= limits.answer) {
      restEnd = std::chrono::steady_clock::now() + limits.rest;
    }
    throw;
  }
}

std::optional<Bytes> SecretServiceStore::find(const Key& key) try {
  return ask([key](Service& service) -> std::optional<Bytes> {
    Items items = service.search(key);
    const Collection collection = service.defaultCollection();
    // Some services do not tell what a locked collection has, and what lies in another is older.
    if (collection && secret_collection_get_locked(collection.get()) != FALSE) {
      throw Locked();
    }
    std::ranges::stable_partition(items, [&](const Item& item) {
      return collection && pathOf(item.get()).starts_with(pathOf(collection.get()) + '/');
    });
    const auto readable = std::ranges::find_if_not(items, isLocked);
    if (readable != items.end()) {
      return service.secretOf(readable->get());
    }
    if (!items.empty()) {
      throw Locked();
    }
    if (!collection) {
      throw Absent();
    }
    return std::nullopt;
  });
} catch (const ServiceFailure&) {
  throw Unreadable();
}

bool SecretServiceStore::remove(const Key& key) try {
  return ask([key](Service& service) {
    const Items items = service.search(key);
    require(std::ranges::none_of(items, isLocked));
    for (const Item& item : items) {
      service.remove(item.get());
    }
    return true;
  });
} catch (const std::exception&) {
  return false;
} catch (const ServiceFailure&) {
  return false;
}

bool SecretServiceStore::add(const Key& key, std::string_view label, ByteView data) try {
  const std::shared_ptr<SecretValue> value(
      secret_value_new(textOf(data).data(), static_cast<gssize>(data.size()),
                       "application/octet-stream"),
      Release());
  return ask([key, value, name = std::string(label)](Service& service) {
    const Collection collection = service.defaultCollection();
    require(collection && secret_collection_get_locked(collection.get()) == FALSE);
    service.add(key, name, value.get());
    return true;
  });
} catch (const std::exception&) {
  return false;
} catch (const ServiceFailure&) {
  return false;
}

bool SecretServiceStore::unlock(const Key& key) try {
  requireService();
  // One that does not answer need not be waited for as long as for a user.
  askWithin(limits.answer, [](Service& /*service*/) { return true; });
  return askWithin(limits.prompt, [key](Service& service) {
    std::vector<GDBusProxy*> locked;
    const Items items = service.search(key);
    for (const Item& item : items) {
      if (isLocked(item)) {
        locked.push_back(G_DBUS_PROXY(item.get()));
      }
    }
    const Collection collection = service.defaultCollection();
    if (locked.empty() && collection && secret_collection_get_locked(collection.get()) != FALSE) {
      locked.push_back(G_DBUS_PROXY(collection.get()));
    }
    if (!locked.empty()) {
      service.unlock(locked);
    }
    return true;
  });
} catch (const std::exception&) {
  return false;
} catch (const ServiceFailure&) {
  return false;
}

}  // namespace orvik
