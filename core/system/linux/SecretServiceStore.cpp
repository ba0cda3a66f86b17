#include "core/system/linux/SecretServiceStore.h"

#include <libsecret/secret.h>

#include <algorithm>
#include <type_traits>
#include <vector>

#include "core/system/linux/GLibCalls.h"

namespace orvik {

namespace {

/// The service, the bus or the user did not do what was asked.
struct ServiceFailure {};

void require(bool succeeded) {
  if (!succeeded) {
    throw ServiceFailure();
  }
}

using Milliseconds = std::chrono::milliseconds;
using Item = GObjectHolder<SecretItem>;
using Items = std::vector<Item>;

struct Release {
  void operator()(GHashTable* table) const { g_hash_table_unref(table); }
  void operator()(GList* list) const { g_list_free(list); }
  void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using Attributes = std::unique_ptr<GHashTable, Release>;
using List = std::unique_ptr<GList, Release>;
using Value = std::unique_ptr<SecretValue, Release>;

bool isLocked(const Item& item) { return secret_item_get_locked(item.get()) != FALSE; }

/// Valid as long as the key is.
Attributes attributesOf(const SecretStore::Key& key) {
  Attributes attributes(g_hash_table_new(g_str_hash, g_str_equal));
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

  /// As if the user had. False when none has been shown.
  static bool dismissPrompt(SecretService* service) {
    auto* const shown =
        service == nullptr ? nullptr : g_object_get_data(G_OBJECT(service), shownKey);
    if (shown != nullptr) {
      g_dbus_proxy_call(G_DBUS_PROXY(shown), "Dismiss", nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START,
                        -1, nullptr, nullptr, nullptr);
    }
    return shown != nullptr;
  }

 private:
  static constexpr const char* shownKey = "orvik-prompt";

  static void initialise(gpointer type, gpointer /*data*/) {
    auto* const service = static_cast<SecretServiceClass*>(type);
    service->prompt_async = show;
    service->prompt_finish = finish;
  }
  static void show(SecretService* self, SecretPrompt* prompt, const GVariantType* resultType,
                   GCancellable* /*cancellable*/, GAsyncReadyCallback callback, gpointer data) {
    g_object_set_data_full(G_OBJECT(self), shownKey, g_object_ref(prompt), g_object_unref);
    secret_prompt_perform(prompt, nullptr, resultType, nullptr, end,
                          g_task_new(self, nullptr, callback, data));
  }
  static void end(GObject* prompt, GAsyncResult* result, gpointer data) {
    const GObjectHolder<GTask> task(G_TASK(data));
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

/// One connection to the service, with a session in which secrets pass the bus encrypted.
class Conversation {
 public:
  explicit Conversation(const SecretServiceStore::Limits& limits) : limits(limits) {
    const auto connected =
        await(limits.answer, [](auto... rest) { g_bus_get(G_BUS_TYPE_SESSION, rest...); });
    bus.reset(g_bus_get_finish(connected.get(), nullptr));
    require(bus != nullptr && g_dbus_connection_is_closed(bus.get()) == FALSE);
    // This connection, which the libraries share, would otherwise end the process with the bus.
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    const auto opened = await(limits.answer, [](auto... rest) {
      secret_service_open(PromptingService::type(), SecretServiceStore::serviceName,
                          SECRET_SERVICE_OPEN_SESSION, rest...);
    });
    service.reset(secret_service_open_finish(opened.get(), nullptr));
    require(service != nullptr);
  }

  Items search(const SecretStore::Key& key) {
    const Attributes attributes = attributesOf(key);
    const auto found = await(limits.answer, [&](auto... rest) {
      secret_service_search(service.get(), nullptr, attributes.get(), SECRET_SEARCH_ALL, rest...);
    });
    GError* error = nullptr;
    const List list(secret_service_search_finish(service.get(), found.get(), &error));
    const bool isFound = error == nullptr;
    g_clear_error(&error);
    Items items;
    for (const GList* at = list.get(); at != nullptr; at = at->next) {
      items.emplace_back(SECRET_ITEM(at->data));
    }
    require(isFound);
    return items;
  }

  /// Asks the user to unlock those that are locked.
  void unlock(const Items& items) {
    List locked;
    for (const Item& item : items) {
      if (isLocked(item)) {
        locked.reset(g_list_prepend(locked.release(), item.get()));
      }
    }
    if (!locked) {
      return;
    }
    const auto unlocked = await(limits.prompt, [&](auto... rest) {
      secret_service_unlock(service.get(), locked.get(), rest...);
    });
    const gint count =
        secret_service_unlock_finish(service.get(), unlocked.get(), nullptr, nullptr);
    require(count >= 0 && static_cast<guint>(count) == g_list_length(locked.get()));
  }

  std::optional<Bytes> secretOf(SecretItem* item) {
    const auto loaded =
        await(limits.answer, [&](auto... rest) { secret_item_load_secret(item, rest...); });
    require(secret_item_load_secret_finish(item, loaded.get(), nullptr) != FALSE);
    const Value value(secret_item_get_secret(item));
    require(value != nullptr);
    gsize size = 0;
    const gchar* const data = secret_value_get(value.get(), &size);
    const ByteView bytes = bytesOf({data, size});
    return Bytes(bytes.begin(), bytes.end());
  }

  void remove(SecretItem* item) {
    // Some services ask whether it is meant.
    const auto removed =
        await(limits.prompt, [&](auto... rest) { secret_item_delete(item, rest...); });
    require(secret_item_delete_finish(item, removed.get(), nullptr) != FALSE);
  }

  void add(const SecretStore::Key& key, std::string_view label, ByteView data) {
    const Attributes attributes = attributesOf(key);
    const Value value(secret_value_new(textOf(data).data(), static_cast<gssize>(data.size()),
                                       "application/octet-stream"));
    // Unlocks the collection, or makes the first one, by asking the user.
    const auto stored = await(limits.prompt, [&](auto... rest) {
      secret_service_store(service.get(), nullptr, attributes.get(), SECRET_COLLECTION_DEFAULT,
                           std::string(label).c_str(), value.get(), rest...);
    });
    require(secret_service_store_finish(service.get(), stored.get(), nullptr) != FALSE);
  }

 private:
  template <typename Start>
  GObjectHolder<GAsyncResult> await(Milliseconds limit, Start start) {
    auto result = calls.await(limit, start, [&](GCancellable* cancellable) {
      if (!PromptingService::dismissPrompt(service.get())) {
        g_cancellable_cancel(cancellable);
      }
    });
    require(result != nullptr);
    return result;
  }

  SecretServiceStore::Limits limits;
  Silence silence;
  GLibCalls calls;
  GObjectHolder<GDBusConnection> bus;
  GObjectHolder<SecretService> service;
};

}  // namespace

template <typename Question>
auto SecretServiceStore::ask(Question question) {
  using Result = std::invoke_result_t<Question&, Conversation&>;
  if (std::chrono::steady_clock::now() < restEnd) {
    return Result{};
  }
  try {
    Conversation conversation(limits);
    return question(conversation);
  } catch (const ServiceFailure&) {
    restEnd = std::chrono::steady_clock::now() + limits.rest;
    return Result{};
  }
}

std::optional<Bytes> SecretServiceStore::find(const Key& key) {
  return ask([&](Conversation& conversation) -> std::optional<Bytes> {
    const Items items = conversation.search(key);
    if (items.empty()) {
      return std::nullopt;
    }
    const auto readable = std::ranges::find_if_not(items, isLocked);
    if (readable != items.end()) {
      return conversation.secretOf(readable->get());
    }
    conversation.unlock(items);
    return conversation.secretOf(items.front().get());
  });
}

bool SecretServiceStore::remove(const Key& key) {
  return ask([&](Conversation& conversation) {
    const Items items = conversation.search(key);
    conversation.unlock(items);
    for (const Item& item : items) {
      conversation.remove(item.get());
    }
    return true;
  });
}

bool SecretServiceStore::add(const Key& key, std::string_view label, ByteView data) {
  return ask([&](Conversation& conversation) {
    conversation.add(key, label, data);
    return true;
  });
}

}  // namespace orvik
