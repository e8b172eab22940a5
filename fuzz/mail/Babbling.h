#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/mail/MailConnection.h"

namespace vesk {

// A server that says these bytes, so many at once, whatever it is told.
class Babbling final : public MailConnection {
 public:
  // What it is told is added to `told`, which has to outlive it.
  Babbling(std::string_view bytes, std::size_t chunk, std::string& told) : bytes_(bytes), chunk_(chunk), told_(told) {}
  void send(std::string_view bytes) override { told_ += bytes; }
  std::optional<std::string_view> receive(std::chrono::milliseconds) override {
    if (bytes_.empty()) return std::nullopt;
    const auto piece = bytes_.substr(0, chunk_);
    bytes_.remove_prefix(piece.size());
    return piece;
  }
  void startTLS() override {}
  bool isPrivate() const override { return true; }
  void close() noexcept override { bytes_ = {}; }

 private:
  std::string_view bytes_;
  std::size_t chunk_;
  std::string& told_;
};

}  // namespace vesk
