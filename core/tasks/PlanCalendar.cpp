#include "core/tasks/PlanCalendar.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <string_view>

#include <fmt/format.h>
#include <libical/ical.h>

#include "core/base/Error.h"
#include "core/base/Time.h"

namespace vesk {

namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

struct Free {
  void operator()(icalcomponent* component) const { icalcomponent_free(component); }
  void operator()(char* text) const { icalmemory_free_buffer(text); }
};
using Component = std::unique_ptr<icalcomponent, Free>;
using Text = std::unique_ptr<char, Free>;

// libical returns nullptr when memory runs out, and for what it can't write.
template <typename Thing>
Thing* made(Thing* thing) {
  if (thing == nullptr) throw Error("The calendar could not be written.");
  return thing;
}

Component component(icalcomponent_kind kind) { return Component(made(icalcomponent_new(kind))); }

void add(const Component& owner, icalproperty* property) { icalcomponent_add_property(owner.get(), made(property)); }

// A text as the format can carry it. libical escapes what has to be escaped.
std::string carried(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && text.substr(i + 1).starts_with('\n')) continue;
    const char c = text[i] == '\r' ? '\n' : text[i];
    const bool isControl = static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
    result += isControl && c != '\n' ? ' ' : c;
  }
  return result;
}

icaltimetype icalTime(sys_seconds second) {
  return icaltime_from_timet_with_zone(second.time_since_epoch().count(), 0, icaltimezone_get_utc_timezone());
}

Component eventOf(const TaskBlock& block) {
  const auto start = std::chrono::floor<seconds>(block.start);
  // Not beyond what a Timestamp can hold: libical writes no year of five digits.
  const auto end = std::chrono::floor<seconds>(time::nearest(start + std::chrono::minutes(block.minutes)));
  Component event = component(ICAL_VEVENT_COMPONENT);
  add(event, icalproperty_new_uid(carried(fmt::format("{}@vesk", block.id)).c_str()));
  // It is to say when the event was written, which would make every copy of one plan another.
  add(event, icalproperty_new_dtstamp(icalTime(start)));
  add(event, icalproperty_new_dtstart(icalTime(start)));
  if (end > start) add(event, icalproperty_new_dtend(icalTime(end)));
  add(event, icalproperty_new_summary(carried(block.title).c_str()));
  return event;
}

}  // namespace

std::string iCalendar(const std::vector<TaskBlock>& blocks) {
  const Component calendar = component(ICAL_VCALENDAR_COMPONENT);
  add(calendar, icalproperty_new_prodid("-//Vesk//Planner//EN"));
  add(calendar, icalproperty_new_version("2.0"));
  for (const TaskBlock& block : blocks) icalcomponent_add_component(calendar.get(), eventOf(block).release());
  return Text(made(icalcomponent_as_ical_string_r(calendar.get()))).get();
}

}  // namespace vesk
