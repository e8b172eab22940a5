#include "core/mail/MailJson.h"

#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <string_view>
#include <tuple>
#include <utility>

namespace vesk {

namespace {

// Each format stands here once: the keys of a type's members.
template <typename Member>
struct Field {
  std::string_view key;
  Member member;
};
template <typename Member>
Field(std::string_view, Member) -> Field<Member>;

template <typename Value>
constexpr auto fields = nullptr;  // of what is no object

template <>
constexpr std::tuple fields<MailAddress>{Field{"name", &MailAddress::name}, Field{"address", &MailAddress::address}};

template <>
constexpr std::tuple fields<MailAttachment>{Field{"name", &MailAttachment::name}, Field{"type", &MailAttachment::type},
                                            Field{"size", &MailAttachment::size}};

template <>
constexpr std::tuple fields<MailServer>{Field{"host", &MailServer::host}, Field{"port", &MailServer::port},
                                        Field{"security", &MailServer::security}};

template <>
constexpr std::tuple fields<MailAccount>{Field{"id", &MailAccount::id},
                                         Field{"address", &MailAccount::address},
                                         Field{"name", &MailAccount::name},
                                         Field{"user", &MailAccount::user},
                                         Field{"incoming", &MailAccount::incoming},
                                         Field{"outgoing", &MailAccount::outgoing}};

template <>
constexpr std::tuple fields<MailRecipients>{Field{"to", &MailRecipients::to}, Field{"cc", &MailRecipients::cc},
                                            Field{"replyTo", &MailRecipients::replyTo}};

template <>
constexpr std::tuple fields<MailDraft>{Field{"id", &MailDraft::id},
                                       Field{"accountID", &MailDraft::accountID},
                                       Field{"to", &MailDraft::to},
                                       Field{"cc", &MailDraft::cc},
                                       Field{"bcc", &MailDraft::bcc},
                                       Field{"subject", &MailDraft::subject},
                                       Field{"body", &MailDraft::body},
                                       Field{"inReplyTo", &MailDraft::inReplyTo},
                                       Field{"references", &MailDraft::references},
                                       Field{"byAI", &MailDraft::byAI},
                                       Field{"updated", &MailDraft::updated}};

template <>
constexpr std::tuple fields<MailChange>{Field{"accountID", &MailChange::accountID},
                                        Field{"folder", &MailChange::folder},
                                        Field{"uid", &MailChange::uid},
                                        Field{"messageID", &MailChange::messageID},
                                        Field{"kind", &MailChange::kind},
                                        Field{"isOn", &MailChange::isOn},
                                        Field{"target", &MailChange::target},
                                        Field{"targetPath", &MailChange::targetPath}};

constexpr std::array<std::string_view, 3> kindNames = {"read", "flagged", "move"};

// Writing.

Json written(const std::string& text) { return text; }
Json written(bool value) { return value; }
Json written(std::size_t number) { return number; }
Json written(std::uint32_t number) { return std::size_t{number}; }
Json written(std::uint16_t number) { return std::size_t{number}; }
Json written(Timestamp moment) { return mailSeconds(moment); }
Json written(MailSecurity security) { return name(security); }
Json written(MailFolderRole role) { return name(role); }
Json written(MailChange::Kind kind) { return kindNames[static_cast<std::size_t>(kind)]; }

template <typename Value>
Json written(const Value& value);

template <typename Value>
Json written(const std::vector<Value>& values) {
  Json::Array array;
  array.reserve(values.size());
  for (const Value& value : values) array.push_back(written(value));
  return array;
}

template <typename Value>
void write(Json::Object& object, std::string_view key, const Value& value) {
  object.emplace(key, written(value));
}
template <typename Value>
void write(Json::Object& object, std::string_view key, const std::optional<Value>& value) {
  if (value) object.emplace(key, written(*value));
}

template <typename Value>
Json written(const Value& value) {
  Json::Object object;
  std::apply([&](const auto&... field) { (write(object, field.key, value.*field.member), ...); }, fields<Value>);
  return object;
}

// Reading. False when the JSON is none of that type.

template <typename Value>
bool take(std::optional<Value> found, Value& value) {
  if (found) value = std::move(*found);
  return found.has_value();
}

template <typename Number>
bool takeNumber(const Json& json, Number& number) {
  const auto found = json.integer();
  if (!found || !std::in_range<Number>(*found)) return false;
  number = static_cast<Number>(*found);
  return true;
}

bool read(const Json& json, std::string& text) {
  if (json.string()) text = *json.string();
  return json.string() != nullptr;
}
bool read(const Json& json, bool& value) { return take(json.boolean(), value); }
bool read(const Json& json, std::size_t& number) { return takeNumber(json, number); }
bool read(const Json& json, std::uint32_t& number) { return takeNumber(json, number); }
bool read(const Json& json, std::uint16_t& number) { return takeNumber(json, number); }
bool read(const Json& json, Timestamp& moment) {
  if (json.real()) moment = mailMoment(*json.real());
  return json.real().has_value();
}
bool read(const Json& json, MailSecurity& security) {
  return json.string() && take(mailSecurityNamed(*json.string()), security);
}
bool read(const Json& json, MailFolderRole& role) {
  return json.string() && take(mailFolderRoleNamed(*json.string()), role);
}
bool read(const Json& json, MailChange::Kind& kind) {
  for (std::size_t i = 0; json.string() && i < kindNames.size(); ++i) {
    if (kindNames[i] != *json.string()) continue;
    kind = static_cast<MailChange::Kind>(i);
    return true;
  }
  return false;
}

template <typename Value>
bool read(const Json& json, Value& value);

template <typename Value>
bool read(const Json& json, std::vector<Value>& values) {
  if (!json.array()) return false;
  for (const Json& element : *json.array())
    if (!read(element, values.emplace_back())) return false;
  return true;
}

template <typename Value>
bool readMember(const Json* json, Value& value) {
  return json && read(*json, value);
}
template <typename Value>
bool readMember(const Json* json, std::optional<Value>& value) {
  return !json || json->isNull() || read(*json, value.emplace());
}

template <typename Value>
bool read(const Json& json, Value& value) {
  return std::apply(
      [&](const auto&... field) { return (readMember(json.find(field.key), value.*field.member) && ...); },
      fields<Value>);
}

template <typename Value>
std::optional<Value> from(const Json& json) {
  Value value;
  return read(json, value) ? std::optional(std::move(value)) : std::nullopt;
}

constexpr std::chrono::sys_seconds referenceDate = std::chrono::sys_days(Day(std::chrono::year(2001) / 1 / 1));
constexpr auto firstMoment = std::chrono::sys_days(Day(std::chrono::year(1) / 1 / 1)) - referenceDate;  // before it

}  // namespace

Json toJson(const MailAccount& account) { return written(account); }
std::optional<MailAccount> mailAccountFrom(const Json& json) { return from<MailAccount>(json); }

Json toJson(const MailDraft& draft) { return written(draft); }
std::optional<MailDraft> mailDraftFrom(const Json& json) { return from<MailDraft>(json); }

Json toJson(const MailChange& change) { return written(change); }
std::optional<MailChange> mailChangeFrom(const Json& json) { return from<MailChange>(json); }

Json toJson(const MailRecipients& recipients) { return written(recipients); }
std::optional<MailRecipients> mailRecipientsFrom(const Json& json) { return from<MailRecipients>(json); }

Json toJson(const std::vector<MailAttachment>& attachments) { return written(attachments); }
std::optional<std::vector<MailAttachment>> mailAttachmentsFrom(const Json& json) {
  return from<std::vector<MailAttachment>>(json);
}

double mailSeconds(Timestamp moment) {
  if (moment == distantPast) return std::chrono::duration<double>(firstMoment).count();
  const auto second = std::chrono::floor<std::chrono::seconds>(moment);
  const std::chrono::duration<double> fraction = moment - second;
  return static_cast<double>((second - referenceDate).count()) + fraction.count();
}

Timestamp mailMoment(double seconds) {
  constexpr double beyondAny = 1e10;  // seconds; a Timestamp holds less than that on both sides
  if (!(seconds > -beyondAny)) return distantPast;
  if (seconds >= beyondAny) return Timestamp::max();
  const double whole = std::floor(seconds);
  const auto second = referenceDate + std::chrono::seconds(static_cast<std::int64_t>(whole));
  return time::nearest(second, std::chrono::microseconds(std::llround((seconds - whole) * 1e6)));
}

}  // namespace vesk
