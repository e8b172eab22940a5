#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/platform/Fd.h"

// Whole files written in one step. `folder` is an open folder, `name` a single component in it. Failures are thrown as
// plain errno values inside a std::system_error, for the caller to name the path.
namespace vesk::atomicFile {

// True for the names of the temporary files made here, which may be left behind by a process that was killed.
bool isTemporaryName(std::string_view name);

void replace(int folder, const std::string& name, std::string_view content);

// False when something has that name already.
bool create(int folder, const std::string& name, std::string_view content, std::uint32_t mode);

}  // namespace vesk::atomicFile
