#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace vesk {

// The role of a top-level place, in the order that screens and switches use.
enum class Bucket { inbox, projects, areas, resources, sources, archive, other };

namespace bucket {

// The classic PARA places; the inbox last on purpose.
inline constexpr std::array structure = {Bucket::projects, Bucket::areas, Bucket::resources, Bucket::archive,
                                         Bucket::inbox};

// The role's display name, which is also how it is written in JSON ("Inbox").
std::string_view name(Bucket bucket);
std::optional<Bucket> named(std::string_view name);

// The PARA role that a folder's name carries, behind any leading number ("01 - Projects"); never sources or other.
std::optional<Bucket> matching(std::string_view folderName);

// False for what still waits to be filed: in the inbox, or in no place.
constexpr bool isFiled(Bucket bucket) { return bucket != Bucket::inbox && bucket != Bucket::other; }

}  // namespace bucket

}  // namespace vesk
