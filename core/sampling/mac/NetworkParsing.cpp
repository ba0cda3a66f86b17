#include "core/sampling/mac/NetworkParsing.h"

#include "core/sampling/mac/RegularExpression.h"

namespace orvik::NetworkParsing {

std::optional<std::string> gateway(std::string_view route) {
  return firstGroup(route, R"(gateway:\s*(\S+))");
}

std::optional<std::string> interfaceName(std::string_view route) {
  return firstGroup(route, R"(interface:\s*(\S+))");
}

std::optional<std::string> linkName(std::string_view serviceOrder, std::string_view interfaceName) {
  auto name = firstGroup(serviceOrder, R"(\(\d+\)\s*([^\n]+)\n\(Hardware Port: [^,]+, Device: )" +
                                           escapedForPattern(interfaceName) + R"(\))");
  if (name && name->ends_with('\r')) {
    name->pop_back();
  }
  return name;
}

}  // namespace orvik::NetworkParsing
