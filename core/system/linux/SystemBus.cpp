#include "core/system/linux/SystemBus.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>
#include <string_view>

#include "core/values/CHandle.h"

namespace orvik {

namespace {

using Message = CHandle<sd_bus_message, sd_bus_message_unref>;
using Slot = CHandle<sd_bus_slot, sd_bus_slot_unref>;

/// The next value of a message; nothing when there is none or it cannot be read.
std::optional<UntypedValue> readValue(sd_bus_message* message);

template <typename Wire, typename Value>
std::optional<UntypedValue> readBasic(sd_bus_message* message, char type) {
  Wire wire{};
  if (sd_bus_message_read_basic(message, type, &wire) <= 0) {
    return std::nullopt;
  }
  return UntypedValue(static_cast<Value>(wire));
}

/// What has no meaning to anybody here.
std::optional<UntypedValue> skipValue(sd_bus_message* message) {
  return sd_bus_message_skip(message, nullptr) < 0
             ? std::nullopt
             : std::optional<UntypedValue>(UntypedValue::Opaque{});
}

UntypedValue readList(sd_bus_message* message) {
  UntypedValue::List list;
  while (auto value = readValue(message)) {
    list.push_back(std::move(*value));
  }
  return list;
}

/// Entries whose key is no text are left out.
UntypedValue readMap(sd_bus_message* message) {
  UntypedValue::Map map;
  while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, nullptr) > 0) {
    const auto key = readValue(message);
    auto value = key ? readValue(message) : std::nullopt;
    if (!value || sd_bus_message_exit_container(message) < 0) {
      break;
    }
    if (const auto* const text = key->get<std::string>()) {
      map.insert_or_assign(*text, std::move(*value));
    }
  }
  return map;
}

std::optional<UntypedValue> readContainer(sd_bus_message* message, char type,
                                          const char* contents) {
  // Bytes are pictures and the like, one value for each of which would be a waste.
  if (type == SD_BUS_TYPE_ARRAY && std::string_view(contents) == "y") {
    return skipValue(message);
  }
  const bool isMap = *contents == '{';
  if (sd_bus_message_enter_container(message, type, contents) <= 0) {
    return std::nullopt;
  }
  std::optional<UntypedValue> value;
  if (type == SD_BUS_TYPE_VARIANT) {
    value = readValue(message);
  } else {
    value = isMap ? readMap(message) : readList(message);
  }
  return sd_bus_message_exit_container(message) < 0 ? std::nullopt : std::move(value);
}

// As deep as the protocol lets a message be: 64 containers.
std::optional<UntypedValue> readValue(sd_bus_message* message) {
  char type = 0;
  const char* contents = nullptr;
  if (sd_bus_message_peek_type(message, &type, &contents) <= 0) {
    return std::nullopt;
  }
  switch (type) {
    case SD_BUS_TYPE_BOOLEAN:
      return readBasic<int, bool>(message, type);
    case SD_BUS_TYPE_BYTE:
      return readBasic<std::uint8_t, std::int64_t>(message, type);
    case SD_BUS_TYPE_INT16:
      return readBasic<std::int16_t, std::int64_t>(message, type);
    case SD_BUS_TYPE_UINT16:
      return readBasic<std::uint16_t, std::int64_t>(message, type);
    case SD_BUS_TYPE_INT32:
      return readBasic<std::int32_t, std::int64_t>(message, type);
    case SD_BUS_TYPE_UINT32:
      return readBasic<std::uint32_t, std::int64_t>(message, type);
    case SD_BUS_TYPE_INT64:
      return readBasic<std::int64_t, std::int64_t>(message, type);
    case SD_BUS_TYPE_UINT64:
      return readBasic<std::uint64_t, std::uint64_t>(message, type);
    case SD_BUS_TYPE_DOUBLE:
      return readBasic<double, double>(message, type);
    case SD_BUS_TYPE_STRING:
    case SD_BUS_TYPE_OBJECT_PATH:
    case SD_BUS_TYPE_SIGNATURE:
      return readBasic<const char*, const char*>(message, type);
    case SD_BUS_TYPE_ARRAY:
    case SD_BUS_TYPE_VARIANT:
    case SD_BUS_TYPE_STRUCT:
      return readContainer(message, type, contents);
    default:
      return skipValue(message);
  }
}

/// Keeps the reply for whoever waits; nothing may be thrown through the library.
int keepReply(sd_bus_message* reply, void* kept, sd_bus_error* /*error*/) {
  static_cast<Message*>(kept)->reset(sd_bus_message_ref(reply));
  return 0;
}

}  // namespace

void SystemBus::Close::operator()(sd_bus* opened) const { sd_bus_close_unref(opened); }

SystemBus::SystemBus(const std::string& address) {
  sd_bus* opened = nullptr;
  if (address.empty()) {
    sd_bus_open_system(&opened);
    bus.reset(opened);
  } else if (sd_bus_new(&opened) >= 0) {
    bus.reset(opened);
    if (sd_bus_set_address(opened, address.c_str()) < 0 || sd_bus_set_bus_client(opened, 1) < 0 ||
        sd_bus_start(opened) < 0) {
      bus.reset();
    }
  }
}

void SystemBus::allow(std::chrono::milliseconds limit) {
  deadline = std::chrono::steady_clock::now() + limit;
  late = false;
}

bool SystemBus::wait() {
  const int worked = sd_bus_process(bus.get(), nullptr);
  if (worked != 0) {
    return worked > 0;
  }
  const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
      deadline - std::chrono::steady_clock::now());
  if (left.count() <= 0) {
    late = true;
    return false;
  }
  const int woken = sd_bus_wait(bus.get(), static_cast<std::uint64_t>(left.count()));
  return woken >= 0 || woken == -EINTR;
}

std::optional<UntypedValue> SystemBus::call(const Method& method,
                                            std::initializer_list<const char*> arguments) {
  sd_bus_message* rawCall = nullptr;
  if (!bus ||
      sd_bus_message_new_method_call(bus.get(), &rawCall, method.service, method.object.c_str(),
                                     method.interface, method.name) < 0) {
    return std::nullopt;
  }
  const Message call(rawCall);
  sd_bus_message_set_auto_start(rawCall, 0);
  for (const char* argument : arguments) {
    if (sd_bus_message_append_basic(rawCall, SD_BUS_TYPE_STRING, argument) < 0) {
      return std::nullopt;
    }
  }
  // Not the library's own waiting call: that one waits for a bus that does not answer far longer
  // than it is told to.
  Message reply;
  sd_bus_slot* rawSlot = nullptr;
  if (sd_bus_call_async(bus.get(), &rawSlot, rawCall, keepReply, &reply, UINT64_MAX) < 0) {
    return std::nullopt;
  }
  const Slot slot(rawSlot);
  while (!reply && wait()) {
  }
  if (!reply || sd_bus_message_is_method_error(reply.get(), nullptr) != 0) {
    return std::nullopt;
  }
  return readValue(reply.get());
}

std::optional<UntypedValue> SystemBus::property(const char* service, const std::string& object,
                                                const char* interface, const char* name) {
  const Method get{.service = service,
                   .object = object,
                   .interface = "org.freedesktop.DBus.Properties",
                   .name = "Get"};
  return call(get, {interface, name});
}

}  // namespace orvik
