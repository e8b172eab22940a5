#include "core/vault/VaultWatcher.h"

#include <string_view>
#include <utility>

#include "core/base/Text.h"

namespace vesk {

namespace {

bool isUnlisted(std::string_view name) { return name.starts_with('.') || !text::isValidUtf8(name); }

}  // namespace

VaultWatcher::VaultWatcher(const std::string& root, OnChange onChange, std::chrono::milliseconds latency)
    : watcher_(root, latency, std::move(onChange), isUnlisted) {}

}  // namespace vesk
