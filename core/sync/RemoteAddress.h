#pragma once

#include <string>
#include <string_view>

// The addresses of remote git repositories.
namespace vesk::remoteAddress {

// True for what may be given to git: "git@…", "ssh://…" and "https://…" without spaces, passwords or tokens, "file://…"
// and absolute paths. Spaces around it don't count. Refused are control characters, and hosts and paths that begin with
// "-", which programs that git starts would take for options.
bool isSafe(std::string_view address);

// The text with "…" for the user names and passwords in the addresses in it: "https://…@host/path". A lone "git@" is no
// secret.
std::string withoutCredentials(std::string_view text);

}  // namespace vesk::remoteAddress
