#pragma once

#include <optional>
#include <string_view>

namespace vesk {

// The languages Vesk speaks to its user.
enum class Language { english, portuguese, spanish };

// From a language code or a locale name ("pt", "pt_BR.UTF-8"); nullopt for any other language.
inline std::optional<Language> languageNamed(std::string_view code) {
  const std::string_view language = code.substr(0, code.find_first_of("_-.@"));
  if (language == "en") return Language::english;
  if (language == "pt") return Language::portuguese;
  if (language == "es") return Language::spanish;
  return std::nullopt;
}

}  // namespace vesk
