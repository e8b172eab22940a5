#include "core/diagrams/DiagramPalette.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include <fmt/format.h>

#include "core/base/Ascii.h"
#include "core/diagrams/Diagram.h"

namespace vesk {
namespace {

constexpr std::size_t mostColors = 256;  // more, and programs that show the picture take long over its style sheet

using Color = std::array<double, 3>;  // red, green, blue: 0 to 255

constexpr Color rgb(unsigned value) {
  return {static_cast<double>(value >> 16 & 0xFF), static_cast<double>(value >> 8 & 0xFF),
          static_cast<double>(value & 0xFF)};
}

struct Shades {
  Color page;
  Color node;    // without a colour
  Color border;  // without a colour
  Color line;    // without a colour
  Color ink;
  Color link;
  double tint;  // how much of a colour a node takes on
  double paperTint;
};

constexpr Shades lightShades = {rgb(0xFAFAF8), rgb(0xFFFFFF), rgb(0xB6BBC3), rgb(0x858C96),
                                rgb(0x20242A), rgb(0x0B5CAD), 0.13,          0.36};
constexpr Shades darkShades = {rgb(0x1B1D20), rgb(0x292C31), rgb(0x5D646E), rgb(0x8D949F),
                               rgb(0xE9EAEC), rgb(0x8ABBFF), 0.2,           0.34};

constexpr std::array<Color, 6> presets = {rgb(0xDF4141), rgb(0xE77B26), rgb(0xEDB40A),
                                          rgb(0x35A05C), rgb(0x1499AB), rgb(0x8A56CC)};
constexpr std::string_view yellow = "3";

Color mixed(const Color& a, const Color& b, double share) {
  Color color{};
  for (std::size_t i = 0; i < color.size(); ++i) color[i] = a[i] + (b[i] - a[i]) * share;
  return color;
}

// The relative luminance and the contrast ratio of WCAG 2.
double luminance(const Color& color) {
  const auto linear = [](double value) {
    return value <= 10 ? value / 255 / 12.92 : std::pow((value / 255 + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(color[0]) + 0.7152 * linear(color[1]) + 0.0722 * linear(color[2]);
}

double contrast(const Color& a, const Color& b) {
  const auto [low, high] = std::minmax({luminance(a), luminance(b)});
  return (high + 0.05) / (low + 0.05);
}

// The colour, or as much of it as can be told from the page.
Color seen(const Color& color, const Shades& shades, double least) {
  for (int step = 0; step < 20; ++step) {
    const Color mix = mixed(color, shades.ink, step / 20.0);
    if (contrast(mix, shades.page) >= least) return mix;
  }
  return shades.ink;
}

// A tint that words can be read on.
Color tinted(const Color& color, const Shades& shades, double share) {
  constexpr int steps = 20;
  for (int step = 0; step < steps; ++step) {
    const Color mix = mixed(shades.node, color, share * (steps - step) / steps);
    if (contrast(mix, shades.ink) >= 7) return mix;
  }
  return shades.node;
}

std::optional<Color> parsed(std::string_view color) {
  if (color.empty()) return std::nullopt;
  if (color.size() == 1) return presets[static_cast<std::size_t>(color[0] - '1')];
  unsigned value = 0;
  std::from_chars(color.data() + 1, color.data() + color.size(), value, 16);
  return rgb(value);
}

std::string hex(const Color& color) {
  const auto byte = [](double value) { return static_cast<int>(std::lround(value)); };
  return fmt::format("#{:02x}{:02x}{:02x}", byte(color[0]), byte(color[1]), byte(color[2]));
}

std::string rulesFor(std::string_view name, std::size_t number, const Shades& shades) {
  const std::optional<Color> color = parsed(name);
  const Color line = color ? seen(*color, shades, 2.2) : shades.line;
  const std::string border = hex(color ? line : shades.border);
  const std::string fill = hex(color ? tinted(*color, shades, shades.tint) : shades.node);
  const std::string group = hex(color ? line : shades.line);
  const std::string paper = hex(tinted(color.value_or(shades.line), shades, shades.paperTint));
  const std::string words = hex(color ? seen(*color, shades, 4.5) : shades.ink);
  return fmt::format(
      ".f{0}{{fill:{1};stroke:{2}}}\n.g{0}{{fill:{3};fill-opacity:.07;stroke:{3}}}\n.p{0}{{fill:{4}}}\n"
      ".l{0}{{fill:none;stroke:{5}}}\n.s{0}{{fill:{5}}}\n.w{0}{{fill:{6}}}\n",
      number, fill, border, group, paper, hex(line), words);
}

std::string rules(const std::map<std::string, std::size_t>& numbers, const Shades& shades) {
  std::string rules = fmt::format(".page{{fill:{}}}\n.ink{{fill:{}}}\n.link{{fill:{}}}\n", hex(shades.page),
                                  hex(shades.ink), hex(shades.link));
  for (const auto& [name, number] : numbers) rules += rulesFor(name, number, shades);
  return rules;
}

}  // namespace

std::size_t DiagramPalette::number(const std::optional<std::string>& color) {
  std::string name = color && isDiagramColor(*color) ? *color : "";
  std::transform(name.begin(), name.end(), name.begin(), ascii::lower);
  if (numbers_.size() >= mostColors && !numbers_.contains(name)) name.clear();
  return numbers_.emplace(name, numbers_.size()).first->second;
}

std::size_t DiagramPalette::paperNumber(const std::optional<std::string>& color) {
  return number(color && isDiagramColor(*color) ? *color : std::string(yellow));
}

std::string DiagramPalette::styleSheet(DiagramTheme theme) const {
  if (theme == DiagramTheme::dark) return rules(numbers_, darkShades);
  std::string sheet = rules(numbers_, lightShades);
  if (theme == DiagramTheme::automatic)
    sheet += fmt::format("@media (prefers-color-scheme: dark) {{\n{}}}\n", rules(numbers_, darkShades));
  return sheet;
}

}  // namespace vesk
