#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/base/Text.h"
#include "core/mail/MIME.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string html = text::wellFormed({reinterpret_cast<const char*>(data), size});
  const auto start = std::chrono::steady_clock::now();
  const std::string text = MIME::plainText(html);
  require(text::isValidUtf8(text) && text.size() <= html.size());
  require(text == text::trimWhitespace(text) && text.find("\n\n\n") == std::string::npos);

  const MIME::VisibleText visible = MIME::visibleTextOfHTML(html);
  require(text::isValidUtf8(visible.text) && visible.hidden <= html.size());
  require(MIME::visibleText(visible.text).hidden == 0);

  const std::string line = MIME::snippet(html, 50);
  require(text::isValidUtf8(line) && text::characterCount(line) <= 50 && line == text::collapseWhitespace(line));
  // With the sanitizers, on a machine that others use: a thousand times what an ordinary mail takes.
  require(std::chrono::steady_clock::now() - start < std::chrono::seconds(1) + size * std::chrono::microseconds(20));
  return 0;
}
