#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace vesk::bench {

// What Claude prints while it answers: that many lines, each with a piece of the answer, of some 280 bytes.
std::string streamText(std::size_t lines);

// The file as an assistant prints it, read through AssistantStream to the end. Gives the bytes of the answer.
std::size_t relay(const std::filesystem::path& file);

}  // namespace vesk::bench
