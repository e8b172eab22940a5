#include "core/toolserver/Tool.h"

namespace vesk {

namespace {

Json objectSchema(const std::vector<Parameter>& members);

Json pointSchema() {
  Json schema;
  schema["type"] = "array";
  schema["items"]["type"] = "number";
  schema["minItems"] = 2;
  schema["maxItems"] = 2;
  return schema;
}

// Of the elements of an array.
Json itemSchema(const Parameter& parameter) {
  if (parameter.type == "points") return pointSchema();
  if (!parameter.members.empty()) return objectSchema(parameter.members);
  Json schema;
  schema["type"] = "string";
  return schema;
}

Json schemaOf(const Parameter& parameter) {
  const bool isArray = parameter.type == "array" || parameter.type == "points";
  Json schema;
  schema["type"] = isArray ? "array" : parameter.type;
  if (!parameter.description.empty()) schema["description"] = parameter.description;
  if (parameter.minimum) schema["minimum"] = *parameter.minimum;
  if (parameter.maximum) schema["maximum"] = *parameter.maximum;
  if (isArray) schema["items"] = itemSchema(parameter);
  if (!parameter.values.empty()) schema["enum"] = Json::Array(parameter.values.begin(), parameter.values.end());
  return schema;
}

Json objectSchema(const std::vector<Parameter>& members) {
  Json::Object properties;
  Json::Array required;
  for (const Parameter& member : members) {
    properties.emplace(member.name, schemaOf(member));
    if (member.required) required.emplace_back(member.name);
  }
  Json schema;
  schema["type"] = "object";
  schema["properties"] = std::move(properties);
  schema["required"] = std::move(required);
  schema["additionalProperties"] = false;
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
  Json entry;
  entry["name"] = name;
  entry["description"] = description;
  entry["inputSchema"] = objectSchema(parameters);
  entry["annotations"]["readOnlyHint"] = effect == Effect::reads;
  entry["annotations"]["destructiveHint"] = effect == Effect::destroys;
  return entry;
}

namespace parameters {

Parameter note() { return {"note", "string", "The note's path, or its exact title.", true}; }

Parameter folder(bool required) { return {"folder", "string", "A path from list_folders.", required}; }

Parameter task() { return {"task", "string", "A task id from list_tasks.", true}; }

Parameter diagram() { return {"diagram", "string", "The diagram's path, or its exact title.", true}; }

Parameter limit() { return {"limit", "integer", "Most results to return. Default 50, maximum 200.", false, 1, 200}; }

Parameter offset() {
  return {"offset", "integer", "How many to skip, to page through a long list. Default 0.", false, 0};
}

}  // namespace parameters

}  // namespace vesk
