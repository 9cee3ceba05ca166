// mediastores-config: checks, normalizes and compares configuration documents, lists the feature
// toggles and prints the documents' JSON Schema. See PrintToolHelp() for the commands and exit
// statuses.
#include <mediastores/trace.h>

#include <cstdio>
#include <exception>
#include <new>

#include "tools/mediastores-config/commands.h"

int main(int argc, char** argv) {
  // The tool explains problems itself; the store's own trace lines would only repeat them.
  set_external_trace_mask(0xFFFFFFFFu);
  // Nothing escapes as an abort: a failure the tool did not foresee is told, with status 2.
  try {
    return msconfig::RunTool(argc, argv);
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "mediastores-config: out of memory\n");
  } catch (const std::exception& e) {
    std::fprintf(stderr, "mediastores-config: %s\n", e.what());
  }
  return msconfig::kExitTrouble;
}
