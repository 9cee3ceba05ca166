// A program that names its own JSON type `json` (as users of nlohmann-json commonly do) and
// includes the umbrella header: the umbrella must leave the name `json` free.
#include <mediastores/mediastores.h>
#include <nlohmann/json.hpp>

using json = nlohmann::json;

int JsonClashCheck() {
  json document = json::parse(R"({"version": ")" MEDIASTORES_VERSION_STRING R"("})");
  return document["version"].get<std::string>() == MEDIASTORES_VERSION_STRING ? 0 : 1;
}
