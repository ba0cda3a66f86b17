#include "core/system/UserDefaultsFile.h"

#include <cerrno>
#include <utility>

#include "core/system/ReplaceFile.h"
#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "core/values/JSONValue.h"
#include "core/values/SecretBytes.h"

namespace orvik {

namespace {

/// Empty when it is damaged: nothing in it can be had back.
JSONObject objectIn(const std::string& text) {
  const JSONValue value = JSONValue::any(readJSONOrNull(text));
  const auto* object = value.get<JSONObject>();
  return object == nullptr ? JSONObject() : *object;
}

}  // namespace

UserDefaultsFile::UserDefaultsFile(const std::filesystem::path& folder, std::string_view domain,
                                   std::shared_ptr<FileOperations> operations)
    : operations(std::move(operations)) {
  if (!folder.empty()) {
    path = folder / (std::string(domain) + ".json");
  }
}

bool UserDefaultsFile::isDomain(std::string_view name) {
  return !name.empty() && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

std::optional<std::string> UserDefaultsFile::data(std::string_view key) const {
  const FileRead read = readFile(path, *operations);
  if (!read.content) {
    return std::nullopt;
  }
  const JSONObject object = objectIn(*read.content);
  const auto* text = object.get<std::string>(key);
  auto found = text == nullptr ? std::nullopt : bytesFromBase64URL(*text);
  if (!found) {
    return std::nullopt;
  }
  // Some of what is kept is a secret of whoever asks.
  const WipedBytes bytes(*std::move(found));
  return std::string(textOf(bytes.bytes));
}

bool UserDefaultsFile::isReadable() const {
  const FileRead read = readFile(path, *operations);
  if (!read.content) {
    return path.empty() || read.error == ENOENT || read.error == ENOTDIR;
  }
  try {
    return JSONValue::any(readJSON(*read.content)).get<JSONObject>() != nullptr;
  } catch (const JSONError&) {
    return false;
  }
}

bool UserDefaultsFile::set(std::string_view key, std::string_view bytes) {
  const FileRead read = readFile(path, *operations);
  if (!read.content && read.error != ENOENT && read.error != EFBIG) {
    // Its other keys may come back with the next attempt; replacing it would lose them.
    return false;
  }
  JSONObject object = objectIn(read.content.value_or(""));
  object.set(key, base64URL(bytesOf(bytes)));
  const std::string text = JSONValue(std::move(object)).text();
  return !path.empty() && text.size() <= longestFile &&
         makeFolders(path.parent_path(), *operations) && replaceFile(path, text, *operations);
}

}  // namespace orvik
