#include "commutil-settings/gateway_messages.h"

#include <json/value.h>
#include <json/writer.h>
#include <openssl/evp.h>

#include <algorithm>
#include <charconv>

#include "bytes/json_text.h"

namespace agent {
namespace {

using Kind = Failure::Kind;

std::string encoded(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                     reinterpret_cast<const unsigned char*>(bytes.data()),
                                     static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string decoded(const Json::Value& value) {
  if (value.isNull()) return {};
  if (!value.isString()) throw MalformedReply("a text is missing");
  const std::string text = value.asString();
  if (text.size() % 4 != 0) throw MalformedReply("malformed base64");
  if (text.empty()) return {};
  std::string bytes(text.size() / 4 * 3, '\0');
  const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                     reinterpret_cast<const unsigned char*>(text.data()),
                                     static_cast<int>(text.size()));
  if (length != static_cast<int>(bytes.size())) throw MalformedReply("malformed base64");
  const std::size_t padding = text.size() - std::min(text.find('='), text.size());
  if (padding > 2 || text.find_first_not_of('=', text.size() - padding) != std::string::npos)
    throw MalformedReply("malformed base64");
  bytes.resize(bytes.size() - padding);
  return bytes;
}

template <class Number>
Number number(const Json::Value& value) {
  if (value.isNull()) return 0;
  const std::string text = value.isString() || value.isNumeric() ? value.asString() : "";
  Number result = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, result);
  if (parsed.ec != std::errc() || parsed.ptr != end) throw MalformedReply("malformed number");
  return result;
}

bool flag(const Json::Value& value) { return value.isBool() && value.asBool(); }

std::string textOf(const Json::Value& value) { return value.isString() ? value.asString() : ""; }

Json::Value parseObject(std::string_view text) {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  Json::Value root;
  std::string complaint;
  try {
    if (!commutil::parseJson(builder, text, root, &complaint) || !root.isObject())
      throw MalformedReply("not a JSON object");
  } catch (const Json::Exception& error) {
    commutil::throwIfOutOfMemory(error);
    throw MalformedReply(error.what());
  }
  return root;
}

std::string printed(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

/// Member of an object; null for everything else.
const Json::Value& member(const Json::Value& value, const char* name) {
  return value.isObject() ? value[name] : Json::Value::nullSingleton();
}

const Json::Value& list(const Json::Value& value, const char* name) {
  const Json::Value& result = member(value, name);
  if (!result.isNull() && !result.isArray()) throw MalformedReply("a list is malformed");
  return result;
}

ReplyHeader headerOf(const Json::Value& reply) {
  const Json::Value& header = member(reply, "header");
  return {number<std::uint64_t>(member(header, "cluster_id")),
          number<std::int64_t>(member(header, "revision"))};
}

StoredSetting settingOf(const Json::Value& entry) {
  return {decoded(member(entry, "key")), decoded(member(entry, "value")),
          number<std::int64_t>(member(entry, "mod_revision"))};
}

bool has(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

/// By the words of the message: the status alone does not distinguish them. `fallback` otherwise.
Kind kindOf(std::string_view message, Kind fallback) {
  if (has(message, "has been compacted")) return Kind::compacted;
  if (has(message, "future revision")) return Kind::futureRevision;
  if (has(message, "no leader")) return Kind::noLeader;
  if (has(message, "authentication is not enabled")) return Kind::authenticationDisabled;
  if (has(message, "permission denied")) return Kind::permission;
  if (has(message, "invalid auth token") || has(message, "user name is empty") ||
      has(message, "revision of auth store is old") || has(message, "authentication failed"))
    return Kind::authentication;
  return fallback;
}

Kind kindOfStatus(long status) {
  if (status == 400 || status == 401) return Kind::authentication;
  if (status == 403) return Kind::permission;
  return Kind::other;
}

/// The message in the error of a unary reply or of a stream, which have different formats.
std::string messageIn(const Json::Value& reply) {
  const Json::Value& error = member(reply, "error");
  if (error.isObject()) return textOf(member(error, "message"));
  const std::string message = textOf(member(reply, "message"));
  return message.empty() ? textOf(error) : message;
}

std::string firstLine(std::string_view text) {
  constexpr std::size_t kMost = 200;
  return std::string(text.substr(0, std::min(text.find_first_of("\r\n"), kMost)));
}

}  // namespace

std::string rangeEnd(std::string prefix) {
  prefix.back() = static_cast<char>(prefix.back() + 1);
  return prefix;
}

std::string authenticateRequest(const std::string& user, const std::string& password) {
  Json::Value request;
  request["name"] = user;
  request["password"] = password;
  return printed(request);
}

std::string listRequest(const std::string& fromKey, const std::string& prefix,
                        std::int64_t revision) {
  Json::Value request;
  request["key"] = encoded(fromKey);
  request["range_end"] = encoded(rangeEnd(prefix));
  request["limit"] = kPageSize;
  if (revision > 0) request["revision"] = Json::Int64(revision);
  return printed(request);
}

std::string compareRequest(const std::string& prefix, std::int64_t revision) {
  Json::Value request;
  request["key"] = encoded(prefix);
  request["range_end"] = encoded(rangeEnd(prefix));
  request["limit"] = 1;
  request["keys_only"] = true;
  request["sort_target"] = "MOD";
  request["sort_order"] = "DESCEND";
  if (revision > 0) request["revision"] = Json::Int64(revision);
  return printed(request);
}

std::string watchRequest(const std::string& prefix, std::int64_t startRevision) {
  Json::Value create;
  create["key"] = encoded(prefix);
  create["range_end"] = encoded(rangeEnd(prefix));
  create["start_revision"] = Json::Int64(startRevision);
  create["progress_notify"] = true;
  create["fragment"] = true;
  Json::Value request;
  request["create_request"] = create;
  return printed(request);
}

std::string transactionRequest(const std::vector<GuardedWrite>& writes) {
  Json::Value request;
  for (const GuardedWrite& write : writes) {
    Json::Value condition;
    condition["key"] = encoded(write.key);
    condition["target"] = "MOD";
    condition["result"] = "EQUAL";
    condition["mod_revision"] = Json::Int64(write.expectedRevision);
    request["compare"].append(condition);
    Json::Value content;
    content["key"] = encoded(write.key);
    if (write.value) content["value"] = encoded(*write.value);
    Json::Value operation;
    operation[write.value ? "request_put" : "request_delete_range"] = content;
    request["success"].append(operation);
  }
  return printed(request);
}

std::string parseToken(std::string_view body) {
  std::string token = textOf(member(parseObject(body), "token"));
  if (token.empty()) throw MalformedReply("there is no token");
  return token;
}

Page parsePage(std::string_view body) {
  const Json::Value reply = parseObject(body);
  Page page;
  page.header = headerOf(reply);
  if (page.header.revision <= 0) throw MalformedReply("there is no revision");
  for (const Json::Value& entry : list(reply, "kvs")) page.settings.push_back(settingOf(entry));
  page.hasMore = flag(member(reply, "more"));
  page.count = number<std::int64_t>(member(reply, "count"));
  return page;
}

WatchMessage parseWatchMessage(std::string_view line) {
  const Json::Value root = parseObject(line);
  WatchMessage message;
  if (root.isMember("error")) {
    const std::string text = messageIn(root);
    message.error = Failure{kindOf(text, Kind::other), text};
    return message;
  }
  const Json::Value& result = member(root, "result");
  if (!result.isObject()) throw MalformedReply("there is no result");
  message.header = headerOf(result);
  message.isCreated = flag(member(result, "created"));
  message.isCanceled = flag(member(result, "canceled"));
  message.isFragment = flag(member(result, "fragment"));
  message.compactRevision = number<std::int64_t>(member(result, "compact_revision"));
  message.cancelReason = textOf(member(result, "cancel_reason"));
  for (const Json::Value& entry : list(result, "events")) {
    message.events.push_back(
        {textOf(member(entry, "type")) == "DELETE", settingOf(member(entry, "kv"))});
  }
  return message;
}

TransactionReply parseTransaction(std::string_view body) {
  const Json::Value reply = parseObject(body);
  return {headerOf(reply), flag(member(reply, "succeeded"))};
}

Failure parseFailure(long status, std::string_view body) {
  std::string message;
  try {
    message = messageIn(parseObject(body));
  } catch (const MalformedReply&) {
    const bool isPage = body.substr(0, 1) == "<";
    if (!isPage) message = firstLine(body);
  }
  return {kindOf(message, kindOfStatus(status)),
          message.empty() ? "HTTP status " + std::to_string(status) : message};
}

Failure cancelFailure(const std::string& reason) {
  // "rpc error: code = PermissionDenied desc = etcdserver: permission denied"
  constexpr std::string_view kIntroduction = " desc = ";
  const std::size_t found = reason.find(kIntroduction);
  const std::string text =
      found == std::string::npos ? reason : reason.substr(found + kIntroduction.size());
  return {kindOf(text, Kind::other), text.empty() ? "the member canceled the watch" : text};
}

}  // namespace agent
