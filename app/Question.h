#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vesk::app {

// Whether there is somebody to ask: both standard input and standard output are a terminal.
bool canAsk();

// Asks for a line, which is given back without white space around it; nullopt when the input ends.
std::optional<std::string> ask(std::string_view question);

// Likewise, as it is typed and without showing it.
std::optional<std::string> askSecret(std::string_view question);

// Asks until it is answered with yes or no; false when the input ends.
bool isConfirmed(std::string_view question);

}  // namespace vesk::app
