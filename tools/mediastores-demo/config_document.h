// The configuration document every simulated call loads: the embedded default, or a file.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_DEMO_CONFIG_DOCUMENT_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_DEMO_CONFIG_DOCUMENT_H_

#include <string>

namespace msdemo {

// The default deployment configuration of a call (groups Common, Feature, Audio, Video,
// Application and Transmission).
extern const char kDefaultConfigDocument[];

// The document at `path`, or the embedded default when `path` is empty. The document is tried on
// a scratch store first: false (with `error` set) when it can't be read or the store refuses it.
bool LoadConfigDocument(const std::string& path, std::string* document, std::string* error);

}  // namespace msdemo

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_DEMO_CONFIG_DOCUMENT_H_
