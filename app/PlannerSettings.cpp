#include "app/PlannerSettings.h"

#include <fmt/format.h>

#include "app/Days.h"
#include "core/base/Json.h"
#include "core/toolserver/SupportFile.h"

namespace vesk::app {

namespace {

constexpr std::string_view hoursKey = "plannerWorkHours";
constexpr std::string_view weekendsKey = "plannerHideWeekends";

}  // namespace

int WorkHours::minutes() const { return 60 * (end.hour - begin.hour) + end.minute - begin.minute; }

std::string text(const WorkHours& hours) {
  return fmt::format("{}-{}", time::text(hours.begin), time::text(hours.end));
}

std::optional<WorkHours> workHours(std::string_view text) {
  const std::size_t hyphen = text.find('-');
  if (hyphen == std::string_view::npos) return std::nullopt;
  const auto begin = time::parseTimeOfDay(text.substr(0, hyphen));
  const auto end = time::parseTimeOfDay(text.substr(hyphen + 1));
  if (!begin || !end || *end <= *begin) return std::nullopt;
  return WorkHours{*begin, *end};
}

bool PlannerSettings::hides(Day day) const { return hidesWeekends && isWeekend(day); }

PlannerSettings PlannerSettings::load(const std::string& directory) {
  PlannerSettings settings;
  const Json json = supportFile::read(directory, fileName).value_or(Json());
  if (const Json* hours = json.find(hoursKey); hours && hours->string())
    settings.hours = workHours(*hours->string()).value_or(settings.hours);
  if (const Json* hides = json.find(weekendsKey))
    settings.hidesWeekends = hides->boolean().value_or(settings.hidesWeekends);
  return settings;
}

void PlannerSettings::save(const std::string& directory) const {
  Json json = supportFile::readToRewrite(directory, fileName);
  if (!json.object()) json = Json(Json::Object());
  json[hoursKey] = text(hours);
  json[weekendsKey] = hidesWeekends;
  supportFile::write(directory, fileName, json);
}

}  // namespace vesk::app
