#include "core/mail/IMAPDialogue.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>

#include "core/base/Text.h"
#include "core/mail/IMAPAnswers.h"

namespace vesk {

namespace {

constexpr std::size_t costOfPiece = 64;  // bytes of memory that a response or a literal takes beside its own

}  // namespace

// ---- Commands

IMAPCommand IMAPDialogue::command(std::string_view text) { return {fmt::format("V{}", ++counter_), text}; }

IMAPAnswer IMAPDialogue::answer(const IMAPCommand& command) {
  IMAPAnswer answer;
  charged_ = 0;
  for (const IMAPCommand::Part& part : command.parts()) {
    sendLine(part.line.view());
    if (!part.endsInLiteral) break;
    if (!isAskedForMore(answer, command.tag())) {
      if (answer.isOK) drop(unreadable("an end before the command has one"));
      return answer;
    }
    send(part.literal);
  }
  while (isAskedForMore(answer, command.tag())) continue;
  return answer;
}

IMAPAnswer IMAPDialogue::idle(Clock::time_point deadline, const IMAPInterrupt& interrupt) {
  const IMAPCommand idle = command("IDLE");
  IMAPAnswer answer;
  charged_ = 0;
  sendLine(idle.parts().front().line.view());
  if (!isAskedForMore(answer, idle.tag())) return answer;
  while (!imap::tellChange(answer.untagged) && waitForBytes(deadline, interrupt)) {
    answer.untagged.clear();
    charged_ = 0;
    if (readInto(answer, idle.tag()) == Sort::status) return answer;
  }
  sendLine("DONE");
  while (isAskedForMore(answer, idle.tag())) continue;
  return answer;
}

// Reads until the server waits for the rest of the command, or has finished it (false).
bool IMAPDialogue::isAskedForMore(IMAPAnswer& answer, const std::string& tag) {
  while (true) {
    const Sort sort = readInto(answer, tag);
    if (sort == Sort::continuation || sort == Sort::status) return sort == Sort::continuation;
  }
}

IMAPDialogue::Sort IMAPDialogue::readInto(IMAPAnswer& answer, const std::string& tag) {
  IMAPResponse next = response();
  if (next.text.starts_with("* ")) {
    if (answer.untagged.size() == limits_.responses) drop(unreadable("too many responses"));
    answer.untagged.push_back(std::move(next));
    return Sort::untagged;
  }
  if (next.text.starts_with('+')) return Sort::continuation;
  if (!next.text.starts_with(tag) || next.text.substr(tag.size(), 1) != " ") return Sort::other;
  const auto status = std::string_view(next.text).substr(tag.size() + 1);
  const auto word = status.substr(0, status.find(' '));
  answer.isOK = text::equalIgnoringCase(word, "OK");
  answer.text = text::trimSpaces(status.substr(word.size()));
  return Sort::status;
}

// ---- Responses

IMAPResponse IMAPDialogue::response() {
  IMAPResponse response;
  deadline_ = Clock::now() + limits_.silence;
  charge(costOfPiece);
  while (true) {
    const std::string_view line = this->line();
    charge(line.size());
    response.text += line;
    const auto size = literalSize(line);
    if (!size) return response;
    if (*size > limits_.literal) drop(unreadable("too large a piece"));
    charge(costOfPiece + *size);
    response.text += "\r\n";
    response.literals.push_back(literal(*size));
  }
}

// The next line, without its CRLF.
std::string_view IMAPDialogue::line() {
  while (true) {
    const auto line = buffer_.takeLine();
    if ((line ? line->size() : buffer_.size()) > limits_.line) drop(unreadable("too long a line"));
    if (line) return line->substr(0, line->size() - 2);
    receiveInTime();
  }
}

std::string IMAPDialogue::literal(std::size_t size) {
  buffer_.reserve(size + MailConnection::maximumChunk);
  while (true) {
    if (auto bytes = buffer_.take(size)) return *std::move(bytes);
    receiveInTime();
  }
}

void IMAPDialogue::charge(std::size_t bytes) {
  charged_ += bytes;
  if (charged_ > limits_.answer) drop(unreadable("too many bytes"));
}

// ---- Bytes

bool IMAPDialogue::waitForBytes(Clock::time_point deadline) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
  if (left.count() <= 0) return false;
  if (!buffer_.isEmpty()) return true;
  try {
    receive(left);
  } catch (const MailError& error) {
    if (error.kind() != MailError::Kind::timedOut) drop(error);
    return false;
  }
  return true;
}

bool IMAPDialogue::waitForBytes(Clock::time_point deadline, const IMAPInterrupt& interrupt) {
  if (!interrupt.isDue) return waitForBytes(deadline);
  while (Clock::now() < deadline && !interrupt.isDue())
    if (waitForBytes(std::min<Clock::time_point>(deadline, Clock::now() + interrupt.every))) return true;
  return false;
}

void IMAPDialogue::receiveInTime() {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
  if (left.count() <= 0) drop(MailError::timedOut());
  const auto received = static_cast<std::int64_t>(guarded([&] { return receive(left); }));
  deadline_ = std::min<Clock::time_point>(Clock::now() + limits_.silence, deadline_ + received * limits_.perByte);
}

// The number of bytes that came.
std::size_t IMAPDialogue::receive(std::chrono::milliseconds timeout) {
  const auto bytes = connection_->receive(timeout);
  if (!bytes) throw MailError::closed();
  buffer_.append(*bytes);
  return bytes->size();
}

void IMAPDialogue::sendLine(std::string_view text) {
  WipedText line;
  line.append(text);
  line.append("\r\n");
  send(line.view());
}

void IMAPDialogue::send(std::string_view bytes) {
  guarded([&] { connection_->send(bytes); });
}

void IMAPDialogue::startTLS() {
  // They came from anyone between the server and us, and would be taken for a part of the encrypted talk.
  if (!buffer_.isEmpty()) drop(MailError::insecureServer());
  guarded([&] { connection_->startTLS(); });
}

void IMAPDialogue::close() noexcept {
  try {
    sendLine(fmt::format("V{} LOGOUT", ++counter_));
  } catch (const std::exception&) {
    // The connection is gone already.
  }
  shut();
}

void IMAPDialogue::drop(const MailError& error) {
  shut();
  throw error;
}

void IMAPDialogue::shut() noexcept {
  isOpen_ = false;
  connection_->close();
}

}  // namespace vesk
