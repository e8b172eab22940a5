#include "core/mail/MailPresets.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "core/base/Text.h"

namespace vesk::mailPresets {

namespace {

constexpr std::uint16_t imapPort = 993;  // of TLS, as the next one (RFC 8314)
constexpr std::uint16_t smtpPort = 465;
constexpr std::uint16_t imapStartTLSPort = 143;
constexpr std::uint16_t smtpStartTLSPort = 587;

struct Provider {
  std::string_view name = {};
  std::string_view domains = {};  // between spaces; one that ends in "." is followed by any country
  std::string_view imap = {};
  std::string_view smtp = {};
  MailSecurity smtpSecurity = MailSecurity::tls;
  std::string_view hint = {};
};

constexpr MailSecurity startTLS = MailSecurity::startTLS;
constexpr MailSecurity tls = MailSecurity::tls;
constexpr std::string_view bridge = "Proton Mail";

constexpr std::string_view appPassword =
    "Make an app password for Vesk in the settings of your account, and give that one.";
constexpr std::string_view allowed = "IMAP has to be switched on in the settings of your mailbox.";

constexpr Provider known[] = {
    {"Gmail", "gmail.com googlemail.com", "imap.gmail.com", "smtp.gmail.com", tls,
     "Make an app password for Vesk at https://myaccount.google.com/apppasswords, and give that one."},
    {"iCloud", "icloud.com me.com mac.com", "imap.mail.me.com", "smtp.mail.me.com", startTLS,
     "Make an app-specific password for Vesk at https://account.apple.com, and give that one."},
    {"Outlook", "outlook. hotmail. live. msn.com", "outlook.office365.com", "smtp-mail.outlook.com", startTLS,
     "Outlook.com lets few mail programs in with a password. Where it asks for a sign-in page, Vesk can't connect."},
    {"Fastmail", "fastmail.com fastmail.fm", "imap.fastmail.com", "smtp.fastmail.com", tls, appPassword},
    {"Yahoo", "yahoo. ymail.com rocketmail.com", "imap.mail.yahoo.com", "smtp.mail.yahoo.com", tls, appPassword},
    {"AOL", "aol.com", "imap.aol.com", "smtp.aol.com", tls, appPassword},
    {"GMX", "gmx.de gmx.net gmx.at gmx.ch", "imap.gmx.net", "mail.gmx.net", startTLS, allowed},
    {"GMX", "gmx.com", "imap.gmx.com", "mail.gmx.com", startTLS, allowed},
    {"WEB.DE", "web.de", "imap.web.de", "smtp.web.de", startTLS, allowed},
    {"UOL", "uol.com.br", "imap.uol.com.br", "smtps.uol.com.br", startTLS, ""},
    {"BOL", "bol.com.br", "imap.bol.com.br", "smtps.bol.com.br", startTLS, ""},
    {"Terra", "terra.com.br", "imap.terra.com.br", "smtp.terra.com.br", startTLS, ""},
    {"Zoho Mail", "zoho.com zohomail.com", "imap.zoho.com", "smtp.zoho.com", tls, allowed},
    {"Posteo", "posteo.de posteo.net posteo.org", "posteo.de", "posteo.de", tls, ""},
    {"mailbox.org", "mailbox.org", "imap.mailbox.org", "smtp.mailbox.org", tls, ""},
    {"T-Online", "t-online.de", "secureimap.t-online.de", "securesmtp.t-online.de", tls,
     "Give the password for mail programs that you set in the settings of your account."},
    {bridge, "proton.me protonmail.com pm.me", "127.0.0.1", "127.0.0.1", startTLS,
     "Proton Mail Bridge has to run on this machine, and its exported certificate has to be trusted here. Give the "
     "password that Bridge shows."},
};

std::string domainOf(std::string_view address) {
  const std::size_t at = address.rfind('@');
  return at == std::string_view::npos ? "" : text::key(address.substr(at + 1));
}

// "hotmail." is for hotmail.com, hotmail.fr, hotmail.co.uk and hotmail.com.br, and not for hotmail.example.org.
bool isOf(std::string_view domain, std::string_view pattern) {
  if (!pattern.ends_with('.')) return domain == pattern;
  if (!domain.starts_with(pattern)) return false;
  const auto labels = text::split(domain.substr(pattern.size()), '.');
  const auto isCountry = [](std::string_view label) { return label.size() == 2; };
  if (labels.size() == 1) return labels[0] == "com" || isCountry(labels[0]);
  return labels.size() == 2 && (labels[0] == "com" || labels[0] == "co") && isCountry(labels[1]);
}

const Provider* providerOf(std::string_view domain) {
  if (domain == "yahoo.co.jp") return nullptr;  // another company's
  for (const Provider& each : known)
    for (const std::string_view pattern : text::split(each.domains, ' '))
      if (isOf(domain, pattern)) return &each;
  return nullptr;
}

MailServer server(std::string_view host, std::uint16_t port, MailSecurity security) {
  return {std::string(host), port, security};
}

}  // namespace

std::optional<Preset> of(std::string_view address) {
  constexpr std::uint16_t bridgeIMAPPort = 1143;
  constexpr std::uint16_t bridgeSMTPPort = 1025;
  const Provider* found = providerOf(domainOf(address));
  if (!found) return std::nullopt;
  const std::uint16_t port = found->smtpSecurity == tls ? smtpPort : smtpStartTLSPort;
  Preset preset{.provider = std::string(found->name),
                .incoming = server(found->imap, imapPort, tls),
                .outgoing = server(found->smtp, port, found->smtpSecurity),
                .user = std::string(address),
                .passwordHint = std::string(found->hint)};
  if (found->name == bridge) {
    preset.incoming = server(found->imap, bridgeIMAPPort, startTLS);
    preset.outgoing.port = bridgeSMTPPort;
  }
  return preset;
}

std::vector<MailServer> likelyIncoming(std::string_view address) {
  const std::string domain = domainOf(address);
  if (domain.empty()) return {};
  std::vector<MailServer> servers;
  for (const char* prefix : {"imap.", "mail.", ""}) servers.push_back(server(prefix + domain, imapPort, tls));
  for (const char* prefix : {"imap.", "mail."}) servers.push_back(server(prefix + domain, imapStartTLSPort, startTLS));
  return servers;
}

std::vector<MailServer> likelyOutgoing(std::string_view address) {
  const std::string domain = domainOf(address);
  if (domain.empty()) return {};
  std::vector<MailServer> servers;
  for (const char* prefix : {"smtp.", "mail.", ""}) {
    servers.push_back(server(prefix + domain, smtpPort, tls));
    servers.push_back(server(prefix + domain, smtpStartTLSPort, startTLS));
  }
  return servers;
}

bool filesSentMail(const MailServer& outgoing) {
  constexpr std::string_view hosts[] = {"smtp.gmail.com", "smtp.googlemail.com", "smtp-mail.outlook.com",
                                        "smtp.office365.com"};
  return std::ranges::find(hosts, text::key(outgoing.host)) != std::end(hosts);
}

}  // namespace vesk::mailPresets
