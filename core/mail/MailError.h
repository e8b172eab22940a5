#pragma once

#include <string>
#include <string_view>

#include <fmt/format.h>

#include "core/base/Error.h"

namespace vesk {

// Mail that can't be fetched, sent or stored; what() is what the user or the assistant reads.
class MailError : public Error {
 public:
  enum class Kind { refused, cantConnect, closed, timedOut, wrongPassword, insecureServer, noPassword, noFolder };

  // `text` is the server's.
  static MailError refused(std::string_view text) {
    return {Kind::refused, fmt::format("The mail server refused: {}", text)};
  }
  // Likewise, where it is the database that can't do what it is asked for; `text` is SQLite's.
  static MailError refusedByDatabase(std::string_view text) {
    MailError error = refused(text);
    error.databaseText_ = text;
    return error;
  }
  static MailError cantConnect() { return {Kind::cantConnect, "Vesk couldn't reach the mail server."}; }
  static MailError closed() { return {Kind::closed, "The mail server closed the connection."}; }
  static MailError timedOut() { return {Kind::timedOut, "The mail server took too long to answer."}; }
  static MailError wrongPassword() {
    return {Kind::wrongPassword,
            "The address or password wasn't accepted. Check that it's an app password, not your main one."};
  }
  static MailError insecureServer() {
    return {Kind::insecureServer, "Vesk only sends passwords over an encrypted connection."};
  }
  static MailError noPassword() { return {Kind::noPassword, "This account's password is missing. Connect it again."}; }
  static MailError noFolder() { return {Kind::noFolder, "This account has no folder for that."}; }

  Kind kind() const noexcept { return kind_; }

  // What SQLite said; empty when the server is to blame.
  const std::string& databaseText() const noexcept { return databaseText_; }
  bool isOfDatabase() const noexcept { return !databaseText_.empty(); }

 private:
  MailError(Kind kind, const std::string& sentence) : Error(sentence), kind_(kind) {}
  Kind kind_;
  std::string databaseText_ = {};
};

}  // namespace vesk
