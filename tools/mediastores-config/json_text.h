// JSON text for the tool's --format=json output. The library's writer copies texts without
// escapes (the store's dump format), so the tool quotes its own texts: file names, keys and
// values can hold quotes, backslashes, control characters and bytes that are not UTF-8.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_JSON_TEXT_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_JSON_TEXT_H_

#include <string>

namespace msconfig {

// `text` as a JSON string, quotes included: '"', '\' and control characters escaped, UTF-8
// sequences kept, and every byte that is not part of one written as \u00XX (its Latin-1 reading).
std::string JsonQuoted(const std::string& text);

}  // namespace msconfig

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_JSON_TEXT_H_
