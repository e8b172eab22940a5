#pragma once

#include <string>

#include "core/base/Time.h"

// The desktop's own Trash, by the freedesktop.org Trash specification 1.0: what goes in here can be looked at and
// restored from any file browser. Nothing is ever copied; an item stays on its own mount.
namespace vesk::trash {

// Moves a file, a folder or a link (never what it points to) into the Trash and returns the path it has there. Its name
// gets a number where it is taken. `path` is absolute.
//
// FileError when there is no such item (ENOENT), or when it can't be moved; then nothing is left behind.
std::string put(const std::string& path, Timestamp deletedAt);

// True while a Trash holds an item at that path, and knows of it.
bool holds(const std::string& trashedPath);

// True when that item is the one that lay at `original`, and not another that took its place in the Trash.
bool holds(const std::string& trashedPath, const std::string& original);

// Moves an item from the path that put() returned to `destination`, whose folder must exist.
//
// FileError when no Trash holds such an item (ENOENT), when something is at the destination (EEXIST), or when it can't
// be moved; then the item is still in the Trash.
void restore(const std::string& trashedPath, const std::string& destination);

}  // namespace vesk::trash
