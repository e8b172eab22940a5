#include "core/toolserver/Tool.h"

namespace vesk {

namespace {

Json schemaOf(const Parameter& parameter) {
  Json schema;
  schema["type"] = parameter.type;
  if (!parameter.description.empty()) schema["description"] = parameter.description;
  if (parameter.minimum) schema["minimum"] = *parameter.minimum;
  if (parameter.maximum) schema["maximum"] = *parameter.maximum;
  if (parameter.type == "array") schema["items"]["type"] = "string";
  if (!parameter.values.empty()) schema["enum"] = Json::Array(parameter.values.begin(), parameter.values.end());
  return schema;
}

}  // namespace

bool Tool::waits(ApprovalLevel level) const {
  if (effect == Effect::reads || effect == Effect::syncs) return false;
  switch (level) {
    case ApprovalLevel::always: return true;
    case ApprovalLevel::important: return effect == Effect::changes || effect == Effect::destroys;
    case ApprovalLevel::trusted: return false;
  }
  return true;
}

Json Tool::json() const {
  Json::Object properties;
  Json::Array required;
  for (const Parameter& parameter : parameters) {
    properties.emplace(parameter.name, schemaOf(parameter));
    if (parameter.required) required.emplace_back(parameter.name);
  }
  Json entry;
  entry["name"] = name;
  entry["description"] = description;
  entry["inputSchema"]["type"] = "object";
  entry["inputSchema"]["properties"] = std::move(properties);
  entry["inputSchema"]["required"] = std::move(required);
  entry["inputSchema"]["additionalProperties"] = false;
  entry["annotations"]["readOnlyHint"] = effect == Effect::reads;
  entry["annotations"]["destructiveHint"] = effect == Effect::destroys;
  return entry;
}

namespace parameters {

Parameter note() { return {"note", "string", "The note's path, or its exact title.", true}; }

Parameter folder(bool required) { return {"folder", "string", "A path from list_folders.", required}; }

Parameter task() { return {"task", "string", "A task id from list_tasks.", true}; }

Parameter limit() { return {"limit", "integer", "Most results to return. Default 50, maximum 200.", false, 1, 200}; }

Parameter offset() {
  return {"offset", "integer", "How many to skip, to page through a long list. Default 0.", false, 0};
}

}  // namespace parameters

}  // namespace vesk
