#pragma once

#include <string>
#include <string_view>

#include "core/base/Json.h"

// Changes to one member of an object in the text of a user's own settings file. All the rest stays as it is written:
// the order of the keys, the white space, the way numbers and strings are spelled. `text` is JSON that Json::parse
// takes, with an object outermost.
namespace vesk::jsonText {

// Sets the member `key` of the object that is the member `object`. Either is made where it is missing; an `object` that
// is none is replaced.
std::string with(std::string_view text, std::string_view object, std::string_view key, const Json& value);

// Takes that member out.
std::string without(std::string_view text, std::string_view object, std::string_view key);

}  // namespace vesk::jsonText
