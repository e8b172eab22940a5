#pragma once

#include <string_view>

#include "core/base/Language.h"

namespace vesk {

// What a new daily note begins with. Holds "{{date}}" for its day.
std::string_view dailyNoteTemplate(Language language);

}  // namespace vesk
