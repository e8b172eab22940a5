// Makes a folder of notes to measure with: make-vault FOLDER COUNT [SEED]. The same arguments make the same bytes and
// modification times everywhere.

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

#include <fmt/format.h>
#include <sys/stat.h>

#include "bench/generator/NoteText.h"
#include "bench/generator/Random.h"
#include "bench/generator/VaultPlan.h"
#include "core/platform/Fd.h"
#include "core/platform/FileError.h"

namespace vesk::bench {

namespace {

namespace fs = std::filesystem;

constexpr time_t firstDay = 1'704'067'200;  // 2024-01-01
constexpr std::size_t threeYears = 3 * 365 * 24 * 3600;

void writeFile(const fs::path& path, std::string_view content, Random& random) {
  const Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (!file) throw FileError("make", path.native(), errno);
  if (::write(file.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
    throw FileError("write", path.native(), errno);
  }
  const timespec time{firstDay + static_cast<time_t>(random.below(threeYears)),
                      static_cast<long>(random.below(1'000'000'000))};
  const timespec times[] = {time, time};
  if (::futimens(file.get(), times) != 0) throw FileError("set the time of", path.native(), errno);
}

// What else lies in the folders of a vault, and is no note.
void writeOtherFiles(const fs::path& folder, Random& random) {
  if (random.percent(40)) writeFile(folder / "photo.jpg", std::string(40'000, '\xd8'), random);
  if (random.percent(30)) writeFile(folder / "board.canvas", "{\"nodes\": [], \"edges\": []}\n", random);
  if (random.percent(30)) writeFile(folder / "soil-test.txt", "pH 6.1, clay 12 %\n", random);
  if (random.percent(10)) {
    fs::create_directory(folder / ".drafts");
    writeFile(folder / ".drafts" / "hidden.md", "# Seen by nobody\n", random);
  }
}

void makeVault(const fs::path& vault, std::size_t count, std::uint64_t seed) {
  if (!fs::create_directories(vault)) throw Error(fmt::format("{} is there already.", vault.native()));
  const VaultPlan plan = planVault(count, seed);
  Random random(seed + 1);
  for (std::size_t index = 0; index < count; ++index) {
    const NotePlan& note = plan.notes[index];
    const fs::path folder = vault / note.folder;
    if (fs::create_directories(folder)) writeOtherFiles(folder, random);
    writeFile(folder / (note.title + ".md"), noteText(plan, index), random);
  }
}

}  // namespace

}  // namespace vesk::bench

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    fmt::print(stderr, "Usage: make-vault FOLDER COUNT [SEED]\n");
    return 2;
  }
  try {
    vesk::bench::makeVault(argv[1], std::stoul(argv[2]), argc > 3 ? std::stoul(argv[3]) : 1);
    return 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "make-vault: {}\n", error.what());
    return 1;
  }
}
