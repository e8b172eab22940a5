#include "tests/client/SampleVault.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include <fmt/format.h>

#include "core/mail/IMAPAnswers.h"
#include "core/mail/MailStore.h"
#include "core/meetings/LiveMeeting.h"
#include "core/toolserver/AIAccess.h"
#include "core/vault/Vault.h"
#include "tests/support/RunProgram.h"

namespace vesk::test {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

constexpr const char* account = "livia";

void write(const fs::path& file, std::string_view text) {
  fs::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary);
  stream.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!stream.flush()) throw std::runtime_error("cannot write " + file.string());
}

// With what it lacks: a place for sources with one in it.
void copyVault(const fs::path& vault) {
  fs::copy(VESK_SOURCE_DIR "/examples/vault", vault,
           fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  Organization organization = Vault(vault.string()).organization().value();
  organization.places.push_back({Bucket::sources, "Sources"});
  Vault(vault.string()).save(organization);
  write(vault / "Sources/Rain barrels.md", "# Rain barrels\n\nA leaflet of the water board, October 2026.\n");
}

// Each file is half a day older than the one before it.
void setDates(const fs::path& vault) {
  std::set<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(vault))
    if (entry.is_regular_file()) files.insert(entry.path());
  Timestamp date = sampleTime();
  for (const fs::path& file : files) fs::last_write_time(file, fs::file_time_type::clock::from_sys(date -= 12h));
}

void connect(const fs::path& base) {
  // The user's own settings play no part in it.
  constexpr const char* script =
      "cd \"$1\" && unset $(git rev-parse --local-env-vars) &&"
      "export GIT_CONFIG_GLOBAL=/dev/null GIT_CONFIG_NOSYSTEM=1 &&"
      "export GIT_AUTHOR_DATE='2026-11-20T18:00:00Z' GIT_COMMITTER_DATE='2026-11-20T18:00:00Z' &&"
      "git init -q -b main vault && git init -q --bare -b main origin.git && cd vault && git add . &&"
      "git -c user.name=Livia -c user.email=livia@example.org commit -q -m 'First notes' &&"
      "git remote add origin ../origin.git && git push -q -u origin main";
  const auto run = runProgram({"/bin/sh", "-c", script, "sh", base.string()});
  if (run.exitStatus != 0) throw std::runtime_error(run.errors);
}

ParsedMail mail(std::string_view subject, MailAddress from, std::string_view text, Timestamp date) {
  return {.subject = std::string(subject),
          .from = std::move(from),
          .to = {{"Lívia", "livia@example.org"}},
          .date = date,
          .messageID = fmt::format("<{}@example.com>", date.time_since_epoch() / 1s),
          .text = std::string(text)};
}

void makeMailbox(const std::string& support) {
  MailStore store(support);
  store.save(MailAccount{.id = account, .address = "livia@example.org", .name = "Lívia"});
  store.saveFolders({{"INBOX", "INBOX", MailFolderRole::inbox}, {"Archive", "Archive", MailFolderRole::archive}},
                    account);
  const ParsedMail steps = mail("Terrace steps", {"Helena", "helena@example.com"},
                                "Could the second flight turn before the lemon trees?", sampleTime() - 3h);
  const ParsedMail order = mail("Your order", {"Salgueiral", "orders@example.com"},
                                "Twelve camellias are reserved until Friday.", sampleTime() - 20h);
  store.insert({{.uid = 1, .mail = steps}, {.uid = 2, .mail = order}}, account, "INBOX");
}

void startMeeting(const std::string& support) {
  const LiveMeeting meeting{
      .title = "School playground",
      .started = sampleTime() - 5min,
      .lines = {newTranscriptLine(MeetingSpeaker::others, "Who brings the wheelbarrows?", sampleTime() - 2min),
                newTranscriptLine(MeetingSpeaker::me, "Two are from Sr. Adelino.", sampleTime() - 1min)},
      .isSharingScreen = true};
  meeting.save(support);
  write(LiveMeeting::screenURL(support), "\xFF\xD8\xFF\xD9");  // the shortest that begins and ends as a JPEG file does
}

}  // namespace

Timestamp sampleTime() { return std::chrono::sys_days{2026y / 11 / 21} + 9h; }

void makeSample(const std::string& base) {
  const std::string vault = base + "/vault";
  const std::string support = base + "/support";
  for (const std::string& folder : {vault, support}) fs::create_directories(folder);
  copyVault(vault);
  setDates(vault);
  connect(base);
  makeMailbox(support);
  startMeeting(support);
  AIAccess access{.vaultPath = vault, .approval = ApprovalLevel::trusted};
  for (const AccessSwitch& each : accessSwitches()) access.*each.value = true;
  access.save(support);
}

}  // namespace vesk::test
