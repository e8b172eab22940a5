#include "bench/generator/VaultPlan.h"

#include <fmt/format.h>

#include "bench/generator/Random.h"

namespace vesk::bench {

namespace {

constexpr std::string_view places[] = {"Inbox", "Projects", "Areas", "Areas", "Resources", "Resources", "Archive"};
constexpr std::string_view subtopics[] = {"Meetings", "Reading", "Receitas", "Bücher", "Письма", "Notes", "資料"};

// Three notes in four hold more than ASCII: all but the English ones, and those of the English ones that are typeset
// (NoteText.cpp).
Script pickScript(Random& random) {
  const std::size_t share = random.below(100);
  if (share < 45) return Script::english;
  if (share < 63) return Script::portuguese;
  if (share < 75) return Script::german;
  if (share < 84) return Script::russian;
  if (share < 91) return Script::greek;
  return Script::japanese;
}

std::string pickWord(Random& random, Script script) { return std::string(random.pick(language(script).words)); }

std::string folderName(Random& random, std::size_t number) {
  const std::string_view place = random.pick(places);
  const std::string topic = fmt::format("{}/{} {}", place, pickWord(random, pickScript(random)), number);
  return random.percent(40) ? fmt::format("{}/{}", topic, random.pick(subtopics)) : topic;
}

std::string noteTitle(Random& random, Script script, std::size_t index) {
  const Language& words = language(script);
  std::string title = pickWord(random, script);
  for (std::size_t more = random.between(1, 3); more > 0; --more) {
    title += words.space;
    title += pickWord(random, script);
  }
  return fmt::format("{} {}", title, index);
}

}  // namespace

VaultPlan planVault(std::size_t count, std::uint64_t seed) {
  Random random(seed);
  VaultPlan plan;
  plan.notes.reserve(count);
  plan.notes.push_back({.title = "Home", .seed = random.next()});
  for (std::size_t folders = 1; plan.notes.size() < count; ++folders) {
    const std::string folder = folderName(random, folders);
    for (std::size_t room = random.between(20, 200); room > 0 && plan.notes.size() < count; --room) {
      const Script script = pickScript(random);
      const std::size_t index = plan.notes.size();
      plan.notes.push_back({folder, noteTitle(random, script, index), script, random.next()});
    }
  }
  return plan;
}

}  // namespace vesk::bench
