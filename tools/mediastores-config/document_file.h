// Reads a configuration document from a file or standard input, in bounded chunks and up to a size
// limit, so that a device without end (/dev/zero) or a huge file ends in a message rather than in
// an exhausted memory.
#ifndef MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_DOCUMENT_FILE_H_
#define MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_DOCUMENT_FILE_H_

#include <cstddef>
#include <string>

namespace msconfig {

// The largest document the tool reads: 64 MiB, far above any real configuration.
constexpr size_t kMaxDocumentBytes = size_t{64} << 20;

// Reads the whole of `path` ("-" is standard input) into `text`. On failure returns false and
// sets `error` to what happened, with the system's reason ("cannot read x.json: Is a directory").
bool ReadDocumentFile(const std::string& path, std::string* text, std::string* error);

}  // namespace msconfig

#endif  // MEDIASTORES_TOOLS_MEDIASTORES_CONFIG_DOCUMENT_FILE_H_
