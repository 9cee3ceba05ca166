// The JSON Schema (draft 2020-12) of configuration documents, for editors and validators: the
// structure the store's walk (ConfigDocument) accepts, with the group names of the group table and
// the feature toggle keys of the toggle list as known names.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_DOCUMENT_SCHEMA_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_DOCUMENT_SCHEMA_H_

#include <string>

namespace msconfig {

// The schema as indented JSON text, ending with a line end. A document the schema refuses is one
// the store refuses (KEL_E_BADSTATE) or one with an empty key (skipped by the store); the problems
// of texts (what a dump cannot give back, wide \u escapes, repeated groups and keys) are left to
// `check`.
std::string ConfigDocumentSchema();

}  // namespace msconfig

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_DOCUMENT_SCHEMA_H_
