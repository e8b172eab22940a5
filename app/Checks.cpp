#include "app/Checks.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <future>
#include <optional>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <fmt/format.h>
#include <sys/statvfs.h>

#include "app/AssistantClients.h"
#include "app/CurrentVault.h"
#include "app/Terminal.h"
#include "app/ToolServer.h"
#include "core/assistant/AssistantRunner.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/mail/MailError.h"
#include "core/mail/MailStore.h"
#include "core/platform/ChildProcess.h"
#include "core/platform/Environment.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"
#include "core/platform/Trash.h"
#include "core/sync/GitSync.h"
#include "core/sync/ICloudDrive.h"
#include "core/toolserver/SupportFile.h"

namespace vesk::app {

namespace fs = std::filesystem;

namespace {

using Time = std::chrono::milliseconds;

template <typename... Values>
std::string sentence(fmt::format_string<Values...> format, Values&&... values) {
  return fmt::format(format, std::forward<Values>(values)...);
}

Finding good(std::string says) { return {Verdict::good, std::move(says), ""}; }
Finding attention(std::string says, std::string toDo) { return {Verdict::attention, std::move(says), std::move(toDo)}; }
Finding notSetUp(std::string says, std::string toDo = "") {
  return {Verdict::notSetUp, std::move(says), std::move(toDo)};
}

// ---- The vault

bool areSettingsReadable() {
  const std::string directory = environment::supportDirectory();
  std::error_code failure;
  const fs::file_type type = fs::status(joinPath(directory, AIAccess::fileName), failure).type();
  return type == fs::file_type::not_found || supportFile::read(directory, AIAccess::fileName);
}

// Of the checks that need a vault, only its own says that there is none.
std::optional<std::string> reachableVault() {
  const auto path = currentAccess().vaultPath;
  std::error_code ignored;
  return path && fs::is_directory(*path, ignored) ? path : std::nullopt;
}

constexpr const char* noVault = "There is no vault to look at.";

Finding checkVault(Time) {
  if (!areSettingsReadable()) return notSetUp(noVault);
  if (!currentAccess().vaultPath) return attention("No vault is open.", "vesk open FOLDER");
  const Vault vault = currentVault();
  Folder::open(vault.root()).entries();
  if (::access(vault.root().c_str(), R_OK | W_OK | X_OK) != 0)
    return attention(sentence("{} can't be written: {}.", vault.root(), std::strerror(errno)),
                     "See whose folder it is, and whether its drive may be written to.");
  return good(sentence("{} can be read and written.", vault.root()));
}

// ---- The tool server

struct ServerAnswers {
  std::optional<std::string> version = {};
  std::optional<std::size_t> tools = {};
};

void addAnswer(ServerAnswers& answers, const Json& line) {
  const Json* result = line.find("result");
  const Json* server = result ? result->find("serverInfo") : nullptr;
  const Json* version = server ? server->find("version") : nullptr;
  const Json* tools = result ? result->find("tools") : nullptr;
  if (version && version->string()) answers.version = *version->string();
  if (tools && tools->array()) answers.tools = tools->array()->size();
}

// What isn't an answer is passed over.
ServerAnswers answersIn(std::string_view output) {
  ServerAnswers answers;
  for (const std::string_view line : text::split(output, '\n')) {
    try {
      addAnswer(answers, Json::parse(line));
    } catch (const JsonError&) {
    }
  }
  return answers;
}

Finding silentServer(const ProcessResult& result) {
  const auto lines = text::split(text::trimWhitespace(result.errors), '\n');
  const std::string said = lines.back().empty() ? "" : sentence(" It says: {}", text::wellFormed(lines.back()));
  return attention(
      sentence("vesk-mcp {}.{}", result.timedOut ? "doesn't answer in time" : "ends without an answer", said),
      sentence("Install Vesk anew if this stays: {}", toolServerPath()));
}

Finding checkToolServer(Time time) {
  constexpr const char* requests =
      R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{"protocolVersion":"2025-06-18","capabilities":{},)"
      R"("clientInfo":{"name":"vesk doctor","version":"1"}}})"
      "\n"
      R"({"jsonrpc":"2.0","id":2,"method":"tools/list"})"
      "\n";
  const std::string path = toolServerPath();
  if (!fs::exists(path))
    return attention(sentence("There is no {}.", path),
                     "Install Vesk anew: its two programs belong beside each other.");
  const ProcessResult result = runProcess({.executable = path, .environment = ownEnvironment(), .input = requests},
                                          {.time = time, .output = 16 << 20});
  if (!result.succeeded()) return silentServer(result);
  const ServerAnswers answers = answersIn(result.output);
  if (!answers.version || !answers.tools) return silentServer(result);
  if (*answers.version != VESK_VERSION)
    return attention(sentence("vesk-mcp is of version {}, but vesk of {}.", *answers.version, VESK_VERSION),
                     "Install Vesk anew: its two programs belong together.");
  return good(sentence("vesk-mcp {} answers, with {}.", *answers.version, counted(*answers.tools, "tool")));
}

// ---- What assistants may do

bool isOfTools(const AccessSwitch& each) {
  return each.value != &AIAccess::allowsClaude && each.value != &AIAccess::allowsCodex;
}

Finding checkAccess(Time) {
  if (!areSettingsReadable())
    return attention(
        sentence("{}/{} can't be read, so all is as at first.", environment::supportDirectory(), AIAccess::fileName),
        "Mend that file, or set what you want anew: vesk open, vesk access");
  const AIAccess access = currentAccess();
  const auto switches = accessSwitches();
  const auto isOn = [&](const AccessSwitch& each) { return isOfTools(each) && access.*each.value; };
  if (std::ranges::none_of(switches, isOn))
    return attention("Everything is switched off: assistants can reach nothing.", "vesk access on canRead canSearch");
  if (!access.canRead && !access.canSearch)
    return attention("Reading and searching are switched off: assistants find no note.",
                     "vesk access on canRead canSearch");
  return good(sentence("{} of {} switches are on; level {} ({}).", std::ranges::count_if(switches, isOn),
                       std::ranges::count_if(switches, isOfTools), name(access.approval), label(access.approval)));
}

// ---- The assistants

// Of a client that works.
Finding findingOn(const AssistantClient& client, const Connection& connection, std::string_view isReady) {
  const std::string connecting = sentence("vesk connect {}", client.id);
  switch (connection.state) {
    case Connection::State::notInstalled: return notSetUp("It isn't installed.");
    case Connection::State::none: return notSetUp(sentence("{}It isn't connected to Vesk.", isReady), connecting);
    case Connection::State::other:
      if (connection.command.empty())
        return attention("It doesn't tell which tool server it is connected to.", connecting);
      return attention(connection.command == toolServerPath()
                           ? std::string("It is connected, but with another support directory.")
                           : sentence("It is connected to another tool server: {}", connection.command),
                       connecting);
    case Connection::State::unreachable:
      return attention("It is connected, but gets no answer from vesk-mcp.",
                       sentence("To see more: {} mcp get vesk", program(*client.provider).command));
    case Connection::State::made: break;
  }
  return good(sentence("{}It is connected to Vesk.", isReady));
}

Finding checkAssistant(const AssistantClient& client, AssistantProvider provider, Time time) {
  const AssistantProgram& assistant = program(provider);
  if (!isAllowed(provider))
    return notSetUp("You have switched it off.", sentence("vesk access on allows{}", assistant.name));
  auto asked =
      std::async(std::launch::async, [&] { return AssistantRunner::status(provider, ownEnvironment(), time); });
  const Connection connection = connectionOf(client, time);
  const bool isConnected = connection.state != Connection::State::none;
  switch (asked.get()) {
    case AssistantStatus::notInstalled: return notSetUp("It isn't installed.");
    case AssistantStatus::unknown:
      return attention("It doesn't answer in time.", sentence("Try it yourself: {} --version", assistant.command));
    case AssistantStatus::notSignedIn:
      return {isConnected ? Verdict::attention : Verdict::notSetUp,
              sentence("{}You aren't signed in to it.", isConnected ? "It is connected to Vesk. " : ""),
              std::string(assistant.loginCommand)};
    default: break;
  }
  return findingOn(client, connection, "You are signed in. ");
}

Check checkOf(const AssistantClient& client) {
  if (const auto provider = client.provider)
    return {.subject = std::string(client.name),
            .run = [&client, provider](Time time) { return checkAssistant(client, *provider, time); },
            .onFailure = sentence("Try it yourself: {} mcp get vesk", program(*provider).command)};
  return {.subject = std::string(client.name),
          .run = [&client](Time time) { return findingOn(client, connectionOf(client, time), ""); },
          .onFailure = sentence("What belongs there by hand: vesk connect {}", client.id)};
}

// ---- Git and sync

GitProgram gitWithin(Time time) { return {.timeout = time}; }

Finding checkGit(Time time) {
  const GitProgram program = gitWithin(time);
  if (::access(program.executable.c_str(), X_OK) == 0) {
    const std::string version = GitCommand("/", program).run({"--version"});
    return good(sentence("{} is installed.", text::trimWhitespace(version)));
  }
  const auto vault = reachableVault();
  const bool isNeeded = vault && GitSync(*vault).isRepository();
  return {isNeeded ? Verdict::attention : Verdict::notSetUp, sentence("There is no {}.", program.executable),
          "Install git to sync the vault; with Debian: sudo apt install git"};
}

// The changes that stay here when nothing is done.
std::string unsentChanges(const GitStatus& status) {
  if (!status.ahead) return "Nothing was sent yet.";
  return *status.ahead > 0 ? sentence("{} not sent yet.", counted(*status.ahead, "commit")) : "";
}

Finding checkSync(Time time) {
  const auto vault = reachableVault();
  if (!vault) return notSetUp(noVault);
  const GitSync sync(*vault, gitWithin(time));
  if (!sync.isRepository()) return notSetUp("The vault isn't synced.", "vesk sync connect ADDRESS");
  if (ICloudDrive(environment::home()).contains(*vault))
    return attention("The vault is in iCloud Drive and in a Git repository.", std::string(ICloudDrive::oneAtATime));
  const GitStatus status = sync.status();
  if (status.hasConflicts || !status.unfinished.empty())
    return attention("The last sync stopped: both sides changed the same notes, or it was interrupted.",
                     "vesk sync now says what to do.");
  if (!status.remote)
    return notSetUp("The vault is a Git repository, but isn't connected to one elsewhere.",
                    "vesk sync connect ADDRESS");
  if (const std::string unsent = unsentChanges(status); !unsent.empty())
    return attention(sentence("Connected to {}. {}", *status.remote, unsent), "vesk sync now");
  const std::string waiting = status.pendingChanges == 0   ? "nothing waits"
                              : status.pendingChanges == 1 ? "1 change waits"
                                                           : fmt::format("{} changes wait", status.pendingChanges);
  return good(sentence("Connected to {}; {} for the next sync.", *status.remote, waiting));
}

// ---- Mail

Finding findingOn(const MailStore& store, const std::string& file) {
  const std::size_t accounts = store.accounts().size();
  if (store.skipped() > 0)
    return attention(sentence("{} in the mail database can't be read.", counted(store.skipped(), "account")),
                     "Vesk leaves out what it can't read. A backup of the database may have it.");
  if (accounts == 0) return notSetUp("There is no mail account.", "vesk mail add");
  if (::access(file.c_str(), W_OK) != 0)
    return attention(sentence("{} can't be written: {}.", file, std::strerror(errno)), "See whose file it is.");
  return good(sentence("{}, {} stored.", counted(accounts, "account"), counted(store.count({}), "message")));
}

Finding checkMail(Time) {
  const std::string directory = environment::supportDirectory();
  const std::string file = joinPath(directory, "mail/mail.sqlite");
  try {
    const auto store = MailStore::openIfThere(directory);
    return store ? findingOn(*store, file) : notSetUp("There is no mail account.", "vesk mail add");
  } catch (const MailError& error) {
    return attention(
        sentence("The mail database can't be used: {} ({})", error.databaseText(), file),
        "See whose file it is, and whether the disk is full. If it is damaged, put a backup in its place.");
  }
}

// ---- The machine

struct Space {
  std::string what = {};
  std::uint64_t free = 0;  // bytes
};

// Of the nearest folder above that is there.
Space spaceAt(std::string what, fs::path path) {
  std::error_code ignored;
  while (path.has_relative_path() && !fs::exists(path, ignored)) path = path.parent_path();
  struct statvfs info = {};
  if (::statvfs(path.c_str(), &info) != 0) throw FileError("ask how full it is at", path.string(), errno);
  return {std::move(what), std::uint64_t{info.f_bavail} * info.f_frsize};
}

std::string inGigabytes(std::uint64_t bytes) { return fmt::format("{:.1f} GB", static_cast<double>(bytes) / 1e9); }

Finding checkDisk(Time) {
  constexpr std::uint64_t enough = 200'000'000;  // bytes
  std::vector<Space> spaces;
  if (const auto vault = reachableVault()) spaces.push_back(spaceAt("the vault", *vault));
  spaces.push_back(spaceAt("Vesk's settings and mail", fs::absolute(environment::supportDirectory())));
  std::vector<std::string> texts;
  for (const auto& [what, free] : spaces) texts.push_back(sentence("{} free for {}", inGigabytes(free), what));
  const std::string says = text::join(texts, ", ") + ".";
  if (std::ranges::all_of(spaces, [](const Space& space) { return space.free >= enough; })) return good(says);
  return attention(says, "Make room: a full disk can't take what you write.");
}

// A hidden file in the vault, for as long as the object lives.
class ProbeFile {
 public:
  explicit ProbeFile(const std::string& folder) : path_(joinPath(folder, fmt::format(".vesk-doctor-{}", ::getpid()))) {
    Folder::open(folder).createFile(lastComponent(path_), "");
  }
  ~ProbeFile() { ::unlink(path_.c_str()); }
  ProbeFile(const ProbeFile&) = delete;
  ProbeFile& operator=(const ProbeFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Tried for real: which Trash takes something, and whether it does, depends on mounts and rights.
Finding checkTrash(Time) {
  const auto vault = reachableVault();
  if (!vault) return notSetUp(noVault);
  const ProbeFile probe(*vault);
  const std::string trashed = trash::put(probe.path(), std::chrono::system_clock::now());
  trash::restore(trashed, probe.path());
  return good(sentence("{} takes what is deleted.", parentPath(parentPath(trashed))));
}

}  // namespace

std::string_view name(Verdict verdict) {
  switch (verdict) {
    case Verdict::good: return "good";
    case Verdict::attention: return "attention";
    case Verdict::notSetUp: break;
  }
  return "not set up";
}

std::vector<Check> allChecks() {
  std::vector<Check> checks = {
      {"Vault", checkVault, "See that its drive is there and whose folder it is, or: vesk open FOLDER"},
      {"Tool server", checkToolServer, "Install Vesk anew if this stays."},
      {"Access", checkAccess, "See whose folder the support directory is."}};
  for (const AssistantClient& client : assistantClients()) checks.push_back(checkOf(client));
  const std::vector<Check> others = {
      {"Git", checkGit, "Try it yourself: git --version"},
      {"Sync", checkSync, "Try it yourself: vesk sync status"},
      {"Mail", checkMail, "See whose folder the support directory is."},
      {"Disk", checkDisk, "See that its drive is there."},
      {"Trash", checkTrash, "Nothing can be deleted until the Trash works: see whose folder that is."}};
  checks.insert(checks.end(), others.begin(), others.end());
  return checks;
}

}  // namespace vesk::app
