#include "core/vault/VaultScan.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <optional>
#include <unistd.h>
#include <utility>

#include <sys/stat.h>

#include "core/base/AsciiSearch.h"
#include "core/base/Text.h"
#include "core/platform/FileError.h"
#include "core/platform/JobQueue.h"
#include "core/platform/Parallel.h"

namespace vesk {

namespace {

bool isNote(const FolderEntry& entry) {
  return (entry.kind == FileKind::file || entry.kind == FileKind::link) && isNoteName(entry.name) &&
         entry.name != assistantRulesFile && !entry.name.starts_with('.');
}

bool comesBefore(const FolderEntry& a, const FolderEntry& b) { return text::compareNames(a.name, b.name) < 0; }

// The folder's notes and folders, in no order.
std::vector<FolderEntry> itemsOf(const Folder& folder) {
  std::vector<FolderEntry> items = folder.entries();
  std::erase_if(items, [](const FolderEntry& entry) {
    return entry.name.starts_with('.') || (entry.kind != FileKind::folder && !isNote(entry));
  });
  return items;
}

// In the order a file browser shows them.
std::vector<FolderEntry> sortedItemsOf(const Folder& folder) {
  std::vector<FolderEntry> items = itemsOf(folder);
  std::sort(items.begin(), items.end(), comesBefore);
  return items;
}

Bucket bucketBelow(std::string_view parentPath, Bucket parent, std::string_view name,
                   const Organization& organization) {
  return parentPath.empty() ? organization.role(name).value_or(Bucket::other) : parent;
}

// Opens a folder of the tree; nullopt when it has gone since its parent was listed, or lies too deep.
std::optional<Folder> openIfThere(const Folder& root, std::string_view path) {
  try {
    return root.openFolder(path);
  } catch (const FileError& error) {
    if (!path.empty() && (error.isMissing() || error.code() == ENAMETOOLONG)) return std::nullopt;
    throw;
  }
}

// A folder while it is being scanned. Its items keep their place, so that the order of the work doesn't matter.
struct ScannedFolder {
  std::string path = {};
  Bucket bucket = Bucket::other;
  std::vector<FolderEntry> items = {};
  bool isSorted = false;  // the items
  // Each of the same index as its item; nullptr for what is none.
  std::vector<NoteRef> notes = {};
  std::vector<ParsedNotes::Stamp> stamps = {};
  std::vector<std::unique_ptr<ScannedFolder>> folders = {};

  ParsedNotes::FolderNotes known = {};  // its notes in the last scan
};

// Finds the notes of an earlier scan, asked for in the order of their names.
class KnownNotes {
 public:
  KnownNotes(const ParsedNotes::FolderNotes& notes, std::string_view firstName) {
    if (!notes) return;
    const auto isBefore = [](const ParsedNotes::Entry& entry, std::string_view name) {
      return text::compareNames(entry.name, name) < 0;
    };
    end_ = notes->data() + notes->size();
    next_ = std::lower_bound(notes->data(), end_, firstName, isBefore);
  }

  // Nullptr when there was none of that name.
  const ParsedNotes::Entry* find(std::string_view name) {
    while (next_ != end_ && next_->name != name && text::compareNames(next_->name, name) < 0) ++next_;
    return next_ != end_ && next_->name == name ? next_ : nullptr;
  }

 private:
  const ParsedNotes::Entry* next_ = nullptr;
  const ParsedNotes::Entry* end_ = nullptr;
};

// Reads whole files into one buffer that is used again.
class NoteReader {
 public:
  // The rest of an open file of `size` bytes (0 when that isn't known), until the next call; nullopt when it is too
  // large for a note, or can't be read.
  std::optional<std::string_view> read(int descriptor, std::size_t size) {
    for (std::size_t filled = 0; filled <= maximumNoteSize;) {
      if (filled == buffer_.size() && !grow(descriptor)) return std::nullopt;
      const ssize_t got = ::read(descriptor, buffer_.data() + filled, buffer_.size() - filled);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return std::nullopt;
      filled += static_cast<std::size_t>(got);
      // A file on disk gives all there is: fewer bytes than asked for are the last. One that has shrunk ends at 0.
      if (filled < buffer_.size() && (filled >= size || got == 0)) return std::string_view(buffer_.data(), filled);
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
    // A small vault is read before other threads have started.
    if (queue_.work([&] { return listed_ >= worthSharing; })) onEveryWorker([&] { queue_.work(); });
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
    const FolderEntry item{std::string(lastComponent(id)), info ? info->kind : FileKind::other};
    if (!isNote(item)) return nullptr;
    NoteReader reader;
    ParsedNotes::Stamp stamp;
    return read(parent, item, root_.openFolder(parent.path), reader, stamp);
  }

 private:
  // Notes of one folder that are read in one go; small enough for the threads to end together.
  static constexpr std::size_t batch = 64;
  // Items from which on other threads are worth their start.
  static constexpr std::size_t worthSharing = 256;

  void scanFolder(ScannedFolder& scanned) {
    auto opened = openIfThere(root_, scanned.path);
    if (!opened) return;
    const auto folder = std::make_shared<const Folder>(std::move(*opened));
    // What a filter leaves is put in order when it is known: as a rule it is little.
    scanned.isSorted = !options_.filter;
    scanned.items = scanned.isSorted ? sortedItemsOf(*folder) : itemsOf(*folder);
    if (options_.cache) scanned.known = options_.cache->find(absolutePath(scanned.path), scanned.bucket);
    listed_ += scanned.items.size();
    scanned.notes.resize(scanned.items.size());
    scanned.stamps.resize(scanned.items.size());
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
    if (begin == end) return;
    KnownNotes known(scanned.known, scanned.items[begin].name);
    for (std::size_t i = begin; i < end; ++i) {
      const FolderEntry& item = scanned.items[i];
      if (item.kind == FileKind::folder) continue;
      if (const auto* entry = known.find(item.name); entry && isUnchanged(*entry, item, folder)) {
        scanned.notes[i] = entry->note;
        scanned.stamps[i] = entry->stamp;
      } else {
        scanned.notes[i] = read(scanned, item, folder, reader, scanned.stamps[i]);
      }
    }
    reader.shrink();
  }

  // True when the file is still the one that was read. A link says nothing of the file it leads to.
  static bool isUnchanged(const ParsedNotes::Entry& entry, const FolderEntry& item, const Folder& folder) {
    struct stat attributes = {};
    return item.kind == FileKind::file &&
           ::fstatat(folder.descriptor(), item.name.c_str(), &attributes, AT_SYMLINK_NOFOLLOW) == 0 &&
           entry.stamp ==
               ParsedNotes::Stamp{timestampOf(attributes.st_mtim), static_cast<std::uint64_t>(attributes.st_size)};
  }

  // Nullptr when the file is no note after all, or not one that is wanted.
  NoteRef read(const ScannedFolder& scanned, const FolderEntry& item, const Folder& folder, NoteReader& reader,
               ParsedNotes::Stamp& stamp) const {
    std::string id = joinPath(scanned.path, item.name);
    const Fd fd = openNote(item, id, folder);
    if (!fd) return nullptr;
    // Looked at before it is read: if it changes in between, the next scan sees another date.
    const bool looksFirst = item.kind != FileKind::file || readsDates({id, {}, fd.get(), scanned.bucket});
    FileInfo info = looksFirst ? fileInfo(fd.get(), options_.readsCreationDates) : FileInfo{.kind = FileKind::file};
    const auto text = reader.read(fd.get(), info.size);
    if (!text || (options_.filter && !options_.filter({id, *text, fd.get(), scanned.bucket}))) return nullptr;
    if (options_.filter) info = fileInfo(fd.get());
    if (text->empty()) info.kind = fileInfo(fd.get()).kind;  // as a pipe is that has taken the file's place
    if (info.kind != FileKind::file || !text::isValidUtf8(*text)) return nullptr;
    auto note = std::make_shared<Note>();
    if (options_.fillsUrls) note->url = absolutePath(id);
    note->id = std::move(id);
    note->modified = info.modified;
    note->created = info.created;
    note->bucket = scanned.bucket;
    takeApart(*note, *text, fd.get());
    stamp = {info.modified, text->size()};
    return note;
  }

  bool readsDates(const NoteFile& file) const {
    return !options_.filter && (!options_.readsDates || options_.readsDates(file));
  }

  void takeApart(Note& note, std::string_view text, int descriptor) const {
    if (options_.takesApart && !options_.takesApart({note.id, text, descriptor, note.bucket})) {
      note.title = note.fileName();
      return;
    }
    const std::string_view body = readNoteWithoutBody(note, text, options_.keptTags);
    note.body = options_.keptBody ? options_.keptBody(note, body) : body;
  }

  Fd openNote(const FolderEntry& item, const std::string& id, const Folder& folder) const {
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

  std::string absolutePath(std::string_view path) const { return path.empty() ? rootPath_ : joinPath(rootPath_, path); }

  const std::string& rootPath_;
  const Folder root_;
  const Organization& organization_;
  const ScanOptions options_;
  JobQueue queue_;
  std::atomic<std::size_t> listed_ = 0;  // items found so far
};

// The indices of the items that were kept, in order.
std::vector<std::size_t> keptItems(const ScannedFolder& scanned) {
  std::vector<std::size_t> kept;
  kept.reserve(scanned.items.size());
  for (std::size_t i = 0; i < scanned.items.size(); ++i)
    if (scanned.folders[i] || scanned.notes[i]) kept.push_back(i);
  const auto isBefore = [&](std::size_t a, std::size_t b) { return comesBefore(scanned.items[a], scanned.items[b]); };
  if (!scanned.isSorted) std::sort(kept.begin(), kept.end(), isBefore);
  return kept;
}

// Puts what was found together in scan order. As deep as the folders are: a path's length bounds that.
FolderNode assemble(ScannedFolder& scanned, std::vector<NoteRef>& notes) {
  FolderNode node;
  node.id = scanned.path;
  node.name = lastComponent(scanned.path);
  node.bucket = scanned.bucket;
  const auto kept = keptItems(scanned);
  node.notes.reserve(kept.size());
  for (const std::size_t i : kept) {
    if (scanned.folders[i]) {
      node.folders.push_back(assemble(*scanned.folders[i], notes));
    } else {
      notes.push_back(scanned.notes[i]);
      node.notes.push_back(std::move(scanned.notes[i]));
    }
  }
  return node;
}

// What the next scan is to know of a folder.
ParsedNotes::FolderNotes entriesOf(const ScannedFolder& scanned) {
  std::vector<ParsedNotes::Entry> entries;
  for (std::size_t i = 0; i < scanned.items.size(); ++i)
    if (scanned.notes[i]) entries.push_back({scanned.items[i].name, scanned.stamps[i], scanned.notes[i]});
  return std::make_shared<const std::vector<ParsedNotes::Entry>>(std::move(entries));
}

bool isAsKnown(const ScannedFolder& scanned) {
  if (!scanned.known) return false;
  auto known = scanned.known->begin();
  for (const NoteRef& note : scanned.notes)
    if (note && (known == scanned.known->end() || (known++)->note != note)) return false;
  return known == scanned.known->end();
}

void remember(const ScannedFolder& scanned, const std::string& root, ParsedNotes::Folders& folders) {
  folders.emplace(scanned.path.empty() ? root : joinPath(root, scanned.path),
                  ParsedNotes::Folder{scanned.bucket, isAsKnown(scanned) ? scanned.known : entriesOf(scanned)});
  for (const auto& child : scanned.folders)
    if (child) remember(*child, root, folders);
}

// None when the folder has gone. It is closed again before the folders in it are opened.
std::vector<FolderEntry> itemsBelow(const Folder& root, std::string_view path) {
  const auto folder = openIfThere(root, path);
  return folder ? sortedItemsOf(*folder) : std::vector<FolderEntry>();
}

void listBelow(const Folder& root, const FolderSummary& parent, const Organization& organization,
               std::vector<FolderSummary>& found) {
  const std::size_t self = found.size() - 1;
  std::size_t notes = 0;
  for (const FolderEntry& item : itemsBelow(root, parent.path)) {
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

// Nullopt for a link that leads out of the vault, or nowhere, and for what has gone.
std::optional<FileSummary> summaryOf(const Folder& root, std::string path, FileKind kind) {
  FileSummary summary{std::move(path)};
  try {
    const auto info = kind == FileKind::link ? fileInfo(root.openFile(summary.path).get()) : root.info(summary.path);
    if (info) summary.modified = info->modified;
  } catch (const OutsideFolderError&) {
    return std::nullopt;
  } catch (const FileError& error) {
    if (error.isMissing()) return std::nullopt;
  }
  return summary;
}

// The folders in one folder and its files of that ending, in order. It is closed again before the folders are opened.
std::vector<FolderEntry> filesAndFolders(const Folder& root, std::string_view path, std::string_view ending) {
  const auto folder = openIfThere(root, path);
  if (!folder) return {};
  std::vector<FolderEntry> items = folder->entries();
  std::erase_if(items, [&](const FolderEntry& entry) {
    const bool isFile = entry.kind == FileKind::file || entry.kind == FileKind::link;
    const bool isWanted = entry.kind == FileKind::folder || (isFile && entry.name.ends_with(ending));
    return !isWanted || entry.name.starts_with('.');
  });
  std::sort(items.begin(), items.end(), comesBefore);
  return items;
}

void listFilesBelow(const Folder& root, const std::string& path, std::string_view ending,
                    std::vector<FileSummary>& found) {
  for (const FolderEntry& item : filesAndFolders(root, path, ending)) {
    const std::string below = joinPath(path, item.name);
    if (item.kind == FileKind::folder) {
      listFilesBelow(root, below, ending, found);
    } else if (auto summary = summaryOf(root, below, item.kind)) {
      found.push_back(std::move(*summary));
    }
  }
}

}  // namespace

std::string_view NoteFile::fileName() const {
  const std::string_view name = lastComponent(id);
  return name.substr(0, name.rfind('.'));
}

bool NoteFile::isSavedChat() const {
  static const text::AsciiSearch mark(chatTag);  // tells fast that most notes are none
  return mark.find(text, 0) != std::string_view::npos && std::ranges::count(noteTags(MarkdownView(text)), chatTag) > 0;
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

bool listedBefore(std::string_view a, std::string_view b) {
  const auto first = text::split(a, '/');
  const auto second = text::split(b, '/');
  return std::lexicographical_compare(first.begin(), first.end(), second.begin(), second.end(),
                                      [](auto x, auto y) { return text::compareNames(x, y) < 0; });
}

void scanNotes(const std::string& root, const ScanOptions& options, VaultSnapshot& snapshot) {
  ScannedFolder top = VaultScan(root, snapshot.organization, options).run();
  if (options.cache) {
    ParsedNotes::Folders folders;
    remember(top, root, folders);
    options.cache->replace(std::move(folders));
  }
  snapshot.notes.clear();
  snapshot.root = assemble(top, snapshot.notes);
}

NoteRef scanNote(const std::string& root, std::string_view id, const Organization& organization) {
  VaultScan scan(root, organization, {});
  try {
    return scan.find(id);
  } catch (const FileError&) {
    return nullptr;  // it leads out of the vault, or is no path that a file can have
  }
}

std::vector<FolderSummary> scanFolders(const std::string& root, const Organization& organization) {
  std::vector<FolderSummary> found(1);
  listBelow(Folder::open(root), FolderSummary(), organization, found);
  found.erase(found.begin());
  return found;
}

std::vector<FileSummary> scanFiles(const std::string& root, std::string_view ending) {
  std::vector<FileSummary> found;
  listFilesBelow(Folder::open(root), "", ending, found);
  return found;
}

}  // namespace vesk
