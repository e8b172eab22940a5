#include "core/diagrams/TextWidth.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "core/base/Unicode.h"

namespace vesk::textWidth {
namespace {

// In hundredths, from the space to the tilde.
constexpr std::array<std::uint8_t, 95> asciiWidths = {
    32, 41, 46, 84, 64, 96, 78, 28, 40,  40, 50, 84, 32, 37, 32, 34, 64, 64, 64, 64, 64, 64, 64, 64,
    64, 64, 34, 34, 84, 84, 84, 54, 100, 69, 69, 70, 78, 64, 58, 78, 76, 30, 30, 66, 56, 87, 75, 79,
    61, 79, 70, 64, 62, 74, 69, 99, 69,  62, 69, 40, 34, 40, 84, 50, 50, 62, 64, 55, 64, 62, 36, 64,
    64, 28, 28, 58, 28, 98, 64, 62, 64,  64, 42, 53, 40, 64, 60, 82, 60, 60, 53, 64, 34, 64, 84};

struct Range {
  char32_t first;
  char32_t last;
  double width;
};

// Beyond ASCII, in order. Signs that join the one before them take no room.
constexpr Range ranges[] = {
    {0x00C0, 0x00DE, 0.74}, {0x00DF, 0x017F, 0.64},   {0x0300, 0x036F, 0},   {0x0400, 0x042F, 0.8},
    {0x0483, 0x0489, 0},    {0x0591, 0x05BD, 0},      {0x0610, 0x061A, 0},   {0x0627, 0x064A, 0.75},
    {0x064B, 0x065F, 0},    {0x1100, 0x115F, 1},      {0x1AB0, 0x1AFF, 0},   {0x1DC0, 0x1DFF, 0},
    {0x200B, 0x200F, 0},    {0x2010, 0x2013, 0.5},    {0x2014, 0x2015, 1},   {0x2018, 0x201A, 0.32},
    {0x201C, 0x201E, 0.52}, {0x2022, 0x2022, 0.59},   {0x2026, 0x2026, 1},   {0x202A, 0x202E, 0},
    {0x2060, 0x2064, 0},    {0x20D0, 0x20FF, 0},      {0x2190, 0x2BFF, 0.9}, {0x2E80, 0x3098, 1},
    {0x3099, 0x309A, 0},    {0x309B, 0xA4CF, 1},      {0xAC00, 0xD7A3, 1},   {0xF900, 0xFAFF, 1},
    {0xFE00, 0xFE0F, 0},    {0xFE20, 0xFE2F, 0},      {0xFE30, 0xFE6F, 1},   {0xFF00, 0xFF60, 1},
    {0xFFE0, 0xFFE6, 1},    {0x1F000, 0x1F3FA, 1.35}, {0x1F3FB, 0x1F3FF, 0}, {0x1F400, 0x1FAFF, 1.35},
    {0x20000, 0x3FFFD, 1},  {0xE0001, 0xE01EF, 0},
};

constexpr double unknownWidth = 0.7;

}  // namespace

double of(char32_t c) {
  if (c < ' ') return 0.32;  // shown as a space, if at all
  if (c < 0x7F) return asciiWidths[c - ' '] / 100.0;
  const auto* const range = std::lower_bound(std::begin(ranges), std::end(ranges), c,
                                             [](const Range& r, char32_t value) { return r.last < value; });
  return range != std::end(ranges) && c >= range->first ? range->width : unknownWidth;
}

double of(std::string_view text) {
  double width = 0;
  for (std::size_t i = 0; i < text.size();) {
    const unicode::CodePoint c = unicode::decode(text, i);
    width += of(c.value);
    i += c.length;
  }
  return width;
}

}  // namespace vesk::textWidth
