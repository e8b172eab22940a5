#include "core/vault/VaultScan.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unistd.h>
#include <utility>

#include <sys/stat.h>

#include "core/base/Text.h"
#include "core/platform/FileError.h"
#include "core/platform/Parallel.h"

namespace vesk {

namespace {

// An entry of a folder that the scan looks at: a note or a folder.
struct Item {
  std::string name = {};
  FileKind kind = FileKind::other;  // file and link are notes
};

bool isNote(const FolderEntry& entry) {
  return (entry.kind == FileKind::file || entry.kind == FileKind::link) && isNoteName(entry.name) &&
         entry.name != assistantRulesFile && !entry.name.starts_with('.');
}

// The folder's notes and folders, in the order a file browser shows them.
std::vector<Item> itemsOf(const Folder& folder) {
  std::vector<Item> items;
  for (FolderEntry& entry : folder.entries()) {
    if (entry.name.starts_with('.')) continue;
    if (isNote(entry) || entry.kind == FileKind::folder) items.push_back({std::move(entry.name), entry.kind});
  }
  std::sort(items.begin(), items.end(),
            [](const Item& a, const Item& b) { return text::compareNames(a.name, b.name) < 0; });
  return items;
}

Bucket bucketBelow(std::string_view parentPath, Bucket parent, std::string_view name,
                   const Organization& organization) {
  return parentPath.empty() ? organization.role(name).value_or(Bucket::other) : parent;
}

// Opens a folder of the tree; nullopt when it has gone since its parent was listed.
std::optional<Folder> openIfThere(const Folder& root, std::string_view path) {
  try {
    return root.openFolder(path);
  } catch (const FileError& error) {
    if (!path.empty() && error.isMissing()) return std::nullopt;
    throw;
  }
}

// A folder while it is being scanned. Its items keep their place, so that the order of the work doesn't matter.
struct ScannedFolder {
  std::string path = {};
  Bucket bucket = Bucket::other;
  std::vector<Item> items = {};
  std::vector<NoteRef> notes = {};                           // of the same index as its item; nullptr for what is none
  std::vector<std::unique_ptr<ScannedFolder>> folders = {};  // likewise
};

// Jobs that several threads take from, newest first, and add to while they work.
class JobQueue {
 public:
  using Job = std::function<void()>;

  void add(Job job) {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
    waiting_.notify_one();
  }

  // Works until no job is left and none is under way. After a failure the others are dropped.
  void work() {
    std::unique_lock lock(mutex_);
    for (;;) {
      waiting_.wait(lock, [&] { return !jobs_.empty() || running_ == 0; });
      if (jobs_.empty()) return waiting_.notify_all();
      const Job job = std::move(jobs_.back());
      jobs_.pop_back();
      ++running_;
      lock.unlock();
      const Finished finished{*this, lock};
      job();
    }
  }

 private:
  struct Finished {
    JobQueue& queue;
    std::unique_lock<std::mutex>& lock;
    int failures = std::uncaught_exceptions();
    ~Finished() {
      lock.lock();
      --queue.running_;
      if (std::uncaught_exceptions() > failures) queue.jobs_.clear();
      if (queue.running_ == 0) queue.waiting_.notify_all();
    }
  };

  std::mutex mutex_;
  std::condition_variable waiting_;
  std::deque<Job> jobs_;
  int running_ = 0;
};

// Reads whole files into one buffer that is used again.
class NoteReader {
 public:
  // The rest of an open file, until the next call; nullopt when it is too large for a note, or can't be read.
  std::optional<std::string_view> read(int descriptor) {
    for (std::size_t filled = 0; filled <= maximumNoteSize;) {
      if (filled == buffer_.size() && !grow(descriptor)) return std::nullopt;
      const ssize_t got = ::read(descriptor, buffer_.data() + filled, buffer_.size() - filled);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return std::nullopt;
      filled += static_cast<std::size_t>(got);
      // A file gives all there is: fewer bytes than asked for are the last.
      if (filled < buffer_.size()) return std::string_view(buffer_.data(), filled);
    }
    return std::nullopt;
  }

  void shrink() {
    if (buffer_.size() > keptSize) std::string(keptSize, '\0').swap(buffer_);
  }

 private:
  static constexpr std::size_t keptSize = std::size_t{256} << 10;

  // Makes room for the rest, and one byte more to see its end; false when the file is larger than a note.
  bool grow(int descriptor) {
    struct stat attributes = {};
    if (::fstat(descriptor, &attributes) != 0) return false;
    const auto size = static_cast<std::size_t>(attributes.st_size);
    if (size > maximumNoteSize) return false;
    buffer_.resize(std::max(2 * buffer_.size(), size + 1));
    return true;
  }

  std::string buffer_ = std::string(keptSize, '\0');
};

class VaultScan {
 public:
  VaultScan(const std::string& root, const Organization& organization, const ScanOptions& options)
      : rootPath_(root), root_(Folder::open(root)), organization_(organization), options_(options) {}

  ScannedFolder run() {
    ScannedFolder top;
    queue_.add([&] { scanFolder(top); });
    onEveryWorker([&] { queue_.work(); });
    return top;
  }

  // The note of that path, as run() would find it.
  NoteRef find(std::string_view id) {
    ScannedFolder parent;
    const std::string_view folderPath = parentPath(id);
    for (std::size_t end = 0; end < folderPath.size();) {
      end = std::min(folderPath.find('/', end + 1), folderPath.size());
      const std::string_view path = folderPath.substr(0, end);
      const auto info = root_.info(path);
      if (lastComponent(path).starts_with('.') || !info || info->kind != FileKind::folder) return nullptr;
      parent.bucket = bucketBelow(parent.path, parent.bucket, lastComponent(path), organization_);
      parent.path = path;
    }
    const auto info = root_.info(id);
    const Item item{std::string(lastComponent(id)), info ? info->kind : FileKind::other};
    if (!isNote({item.name, item.kind})) return nullptr;
    NoteReader reader;
    return noteAt(parent, item, root_.openFolder(parent.path), reader);
  }

 private:
  // Notes of one folder that are read in one go; small enough for the threads to end together.
  static constexpr std::size_t batch = 64;

  void scanFolder(ScannedFolder& scanned) {
    auto opened = openIfThere(root_, scanned.path);
    if (!opened) return;
    const auto folder = std::make_shared<const Folder>(std::move(*opened));
    scanned.items = itemsOf(*folder);
    scanned.notes.resize(scanned.items.size());
    scanned.folders.resize(scanned.items.size());
    for (std::size_t i = 0; i < scanned.items.size(); ++i)
      if (scanned.items[i].kind == FileKind::folder) addFolder(scanned, i);
    for (std::size_t begin = batch; begin < scanned.items.size(); begin += batch)
      queue_.add([this, &scanned, folder, begin] { readNotes(scanned, *folder, begin); });
    readNotes(scanned, *folder, 0);
  }

  void addFolder(ScannedFolder& parent, std::size_t index) {
    auto child = std::make_unique<ScannedFolder>();
    const std::string& name = parent.items[index].name;
    child->path = joinPath(parent.path, name);
    child->bucket = bucketBelow(parent.path, parent.bucket, name, organization_);
    queue_.add([this, target = child.get()] { scanFolder(*target); });
    parent.folders[index] = std::move(child);
  }

  void readNotes(ScannedFolder& scanned, const Folder& folder, std::size_t begin) {
    thread_local NoteReader reader;
    const std::size_t end = std::min(begin + batch, scanned.items.size());
    for (std::size_t i = begin; i < end; ++i)
      if (scanned.items[i].kind != FileKind::folder)
        scanned.notes[i] = noteAt(scanned, scanned.items[i], folder, reader);
    reader.shrink();
  }

  // Nullptr when the file is no note after all, or not one that is wanted.
  NoteRef noteAt(const ScannedFolder& scanned, const Item& item, const Folder& folder, NoteReader& reader) const {
    if (NoteRef known = unchangedNote(scanned, item, folder)) return known;
    std::string id = joinPath(scanned.path, item.name);
    const Fd fd = openNote(item, id, folder);
    if (!fd) return nullptr;
    // Looked at before it is read: if it changes in between, the next scan sees another date.
    FileInfo info = options_.filter ? FileInfo() : fileInfo(fd.get());
    const auto text = reader.read(fd.get());
    if (!text || (options_.filter && !options_.filter({id, *text, fd.get()}))) return nullptr;
    if (options_.filter) info = fileInfo(fd.get());
    if (info.kind != FileKind::file || !text::isValidUtf8(*text)) return nullptr;
    auto note = std::make_shared<Note>();
    note->id = std::move(id);
    note->url = joinPath(rootPath_, note->id);
    note->modified = info.modified;
    note->created = info.created;
    note->bucket = scanned.bucket;
    readNoteText(*note, *text);
    if (options_.cache) options_.cache->put(note, {info.modified, text->size()});
    return note;
  }

  // The note of an earlier scan, where its file is still the same and has the same role. A link says nothing of the
  // file it leads to.
  NoteRef unchangedNote(const ScannedFolder& scanned, const Item& item, const Folder& folder) const {
    if (!options_.cache || item.kind != FileKind::file) return nullptr;
    thread_local std::string url;  // made for every note there is
    url.assign(rootPath_).append("/").append(scanned.path).append(scanned.path.empty() ? "" : "/").append(item.name);
    const ParsedNotes::Entry known = options_.cache->find(url);
    const bool isSame = known.note && known.note->bucket == scanned.bucket &&
                        known.stamp == fileStamp(folder.descriptor(), item.name);
    return isSame ? known.note : nullptr;
  }

  static std::optional<ParsedNotes::Stamp> fileStamp(int folder, const std::string& name) {
    struct stat attributes = {};
    if (::fstatat(folder, name.c_str(), &attributes, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
    return ParsedNotes::Stamp{timestampOf(attributes.st_mtim), static_cast<std::uint64_t>(attributes.st_size)};
  }

  Fd openNote(const Item& item, const std::string& id, const Folder& folder) const {
    if (item.kind == FileKind::link) return openLinkedNote(id);
    // Not blocking, in case a pipe has taken the file's place.
    return Fd(
        ::openat(folder.descriptor(), item.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  }

  Fd openLinkedNote(const std::string& id) const {
    try {
      return root_.openFile(id);
    } catch (const FileError&) {
      return Fd();  // it leads out of the vault, or nowhere
    }
  }

  const std::string& rootPath_;
  const Folder root_;
  const Organization& organization_;
  const ScanOptions options_;
  JobQueue queue_;
};

// Puts what was found together in scan order. As deep as the folders are: a path's length bounds that.
FolderNode assemble(ScannedFolder& scanned, std::vector<NoteRef>& notes) {
  FolderNode node;
  node.id = scanned.path;
  node.name = lastComponent(scanned.path);
  node.bucket = scanned.bucket;
  for (std::size_t i = 0; i < scanned.items.size(); ++i) {
    if (scanned.folders[i]) {
      node.folders.push_back(assemble(*scanned.folders[i], notes));
    } else if (scanned.notes[i]) {
      node.notes.push_back(scanned.notes[i]);
      notes.push_back(scanned.notes[i]);
    }
  }
  return node;
}

// None when the folder has gone. It is closed again before the folders in it are opened.
std::vector<Item> itemsBelow(const Folder& root, std::string_view path) {
  const auto folder = openIfThere(root, path);
  return folder ? itemsOf(*folder) : std::vector<Item>();
}

void listBelow(const Folder& root, const FolderSummary& parent, const Organization& organization,
               std::vector<FolderSummary>& found) {
  const std::size_t self = found.size() - 1;
  std::size_t notes = 0;
  for (const Item& item : itemsBelow(root, parent.path)) {
    if (item.kind != FileKind::folder) {
      ++notes;
      continue;
    }
    const FolderSummary child{joinPath(parent.path, item.name),
                              bucketBelow(parent.path, parent.bucket, item.name, organization), 0};
    found.push_back(child);
    listBelow(root, child, organization, found);
  }
  found[self].notes = notes;
}

}  // namespace

std::string_view NoteFile::fileName() const {
  const std::string_view name = lastComponent(id);
  return name.substr(0, name.rfind('.'));
}

Timestamp NoteFile::modified() const {
  struct stat attributes = {};
  return ::fstat(descriptor, &attributes) == 0 ? timestampOf(attributes.st_mtim) : distantPast;
}

bool isNoteName(std::string_view name) {
  if (name.size() < 3) return false;
  const std::string_view ending = name.substr(name.size() - 3);
  return ending[0] == '.' && (ending[1] == 'm' || ending[1] == 'M') && (ending[2] == 'd' || ending[2] == 'D');
}

void scanNotes(const std::string& root, const ScanOptions& options, VaultSnapshot& snapshot) {
  ScannedFolder top = VaultScan(root, snapshot.organization, options).run();
  snapshot.notes.clear();
  snapshot.root = assemble(top, snapshot.notes);
  if (options.cache) options.cache->keepOnly(snapshot.notes);
}

NoteRef scanNote(const std::string& root, std::string_view id, const Organization& organization) {
  try {
    return VaultScan(root, organization, {}).find(id);
  } catch (const OutsideFolderError&) {
    return nullptr;
  } catch (const FileError& error) {
    if (error.code() != ENAMETOOLONG) throw;  // no path, but it may be a title
    return nullptr;
  }
}

std::vector<FolderSummary> listFolders(const std::string& root, const Organization& organization) {
  std::vector<FolderSummary> found(1);
  listBelow(Folder::open(root), FolderSummary(), organization, found);
  found.erase(found.begin());
  return found;
}

}  // namespace vesk
