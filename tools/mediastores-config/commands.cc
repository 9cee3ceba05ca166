#include "tools/mediastores-config/commands.h"

#include <mediastores/feature_toggle.h>
#include <mediastores/kel_config_group.h>
#include <mediastores/result_codes.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "tools/mediastores-config/document_check.h"
#include "tools/mediastores-config/scratch_store.h"

namespace msconfig {
namespace {

// Call ids of the scratch stores; the tool makes no other store.
constexpr uint32_t kScratchCallA = 1;
constexpr uint32_t kScratchCallB = 2;

const char kExitText[] =
    "Exit status:\n"
    "  0  check, normalize: every document is taken by the store as written\n"
    "     diff: the documents hold the same values\n"
    "  1  check, normalize: a document has a problem (explained on standard error)\n"
    "     diff: the documents differ\n"
    "  2  bad command line or unreadable file; diff: a document the store refuses\n";

// Reads a whole file ("-" is standard input).
bool ReadDocument(const std::string& path, std::string* text) {
  if (path == "-") {
    text->assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
    return true;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "mediastores-config: cannot read %s\n", path.c_str());
    return false;
  }
  std::ostringstream buffer;
  buffer << in.rdbuf();
  *text = buffer.str();
  return true;
}

bool WantsHelp(const Args& args) {
  for (const std::string& arg : args) {
    if (arg == "--help" || arg == "-h") return true;
  }
  return false;
}

// Refuses options the command does not know (anything but "-" that starts with '-').
bool HasUnknownOption(const std::string& command, const Args& args) {
  for (const std::string& arg : args) {
    if (arg.size() > 1 && arg[0] == '-') {
      std::fprintf(stderr, "mediastores-config %s: unknown option %s (see --help)\n",
                   command.c_str(), arg.c_str());
      return true;
    }
  }
  return false;
}

const char* GroupName(uint32_t group) {
  return kelStore::KelConfigGroup2GroupName(static_cast<kelStore::KelConfigGroup>(group));
}

// "<file>: error: <problem>" with what ApplyKelConfigs makes of it.
void PrintProblem(const std::string& path, const CheckReport& report) {
  std::fprintf(stderr, "%s: error: %s\n", path.c_str(), report.problem.c_str());
  if (!report.refusedByStore) {
    std::fprintf(
        stderr,
        "%s:   (ApplyKelConfigs returns KEL_S_OK, but the store does not hold the document "
        "as written)\n",
        path.c_str());
  } else if (report.appliedBeforeRefusal == 0) {
    std::fprintf(stderr, "%s:   (ApplyKelConfigs refuses it with KEL_E_BADSTATE; nothing is set)\n",
                 path.c_str());
  } else {
    std::fprintf(stderr,
                 "%s:   (ApplyKelConfigs stops here with KEL_E_BADSTATE; the %zu %s it set "
                 "before, taking groups in byte-wise order of their names, stay set)\n",
                 path.c_str(), report.appliedBeforeRefusal,
                 report.appliedBeforeRefusal == 1 ? "entry" : "entries");
  }
}

void PrintNotes(const std::string& path, const CheckReport& report) {
  for (const std::string& note : report.notes) {
    std::fprintf(stderr, "%s: note: %s\n", path.c_str(), note.c_str());
  }
}

}  // namespace

int RunCheck(const Args& args) {
  if (WantsHelp(args)) return PrintCommandHelp("check") ? kExitOk : kExitTrouble;
  if (HasUnknownOption("check", args)) return kExitTrouble;
  if (args.empty()) {
    std::fprintf(stderr, "mediastores-config check: no file given (see --help)\n");
    return kExitTrouble;
  }
  int status = kExitOk;
  for (const std::string& path : args) {
    std::string text;
    if (!ReadDocument(path, &text)) {
      status = kExitTrouble;
      continue;
    }
    const CheckReport report = CheckConfigDocument(text);
    PrintNotes(path, report);
    if (!report.accepted) {
      PrintProblem(path, report);
      if (status == kExitOk) status = kExitProblem;
      continue;
    }
    std::set<std::pair<uint32_t, std::string>> values;
    for (const DocumentEntry& entry : report.entries)
      values.emplace(entry.group, entry.key);
    std::printf("%s: ok (%d group%s, %zu value%s)\n", path.c_str(), report.groupCount,
                report.groupCount == 1 ? "" : "s", values.size(), values.size() == 1 ? "" : "s");
  }
  return status;
}

int RunNormalize(const Args& args) {
  if (WantsHelp(args)) return PrintCommandHelp("normalize") ? kExitOk : kExitTrouble;
  if (HasUnknownOption("normalize", args)) return kExitTrouble;
  if (args.size() != 1) {
    std::fprintf(stderr, "mediastores-config normalize: give exactly one file (see --help)\n");
    return kExitTrouble;
  }
  std::string text;
  if (!ReadDocument(args[0], &text)) return kExitTrouble;
  const CheckReport report = CheckConfigDocument(text);
  PrintNotes(args[0], report);
  if (report.refusedByStore) {
    PrintProblem(args[0], report);
    return kExitProblem;
  }
  ScratchStore store(kScratchCallA);
  if (store.Apply(text) != KEL_S_OK) {
    std::fprintf(stderr, "%s: error: the store refused the document\n", args[0].c_str());
    return kExitProblem;
  }
  std::printf("%s\n", store.Dump(report.groupMask).c_str());
  if (!report.accepted) {
    PrintProblem(args[0], report);
    return kExitProblem;
  }
  return kExitOk;
}

int RunDiff(const Args& args) {
  if (WantsHelp(args)) return PrintCommandHelp("diff") ? kExitOk : kExitTrouble;
  if (HasUnknownOption("diff", args)) return kExitTrouble;
  if (args.size() != 2) {
    std::fprintf(stderr, "mediastores-config diff: give two files, A and B (see --help)\n");
    return kExitTrouble;
  }
  std::string texts[2];
  CheckReport reports[2];
  for (int i = 0; i < 2; ++i) {
    if (!ReadDocument(args[i], &texts[i])) return kExitTrouble;
    reports[i] = CheckConfigDocument(texts[i]);
    PrintNotes(args[i], reports[i]);
    if (reports[i].refusedByStore) {
      PrintProblem(args[i], reports[i]);
      return kExitTrouble;
    }
    if (!reports[i].accepted) PrintProblem(args[i], reports[i]);
  }
  // Compare what the two stores hold, key by key, in group order and then key order.
  ScratchStore a(kScratchCallA);
  ScratchStore b(kScratchCallB);
  a.Apply(texts[0]);
  b.Apply(texts[1]);
  std::map<uint32_t, std::set<std::string>> keys;
  for (const CheckReport& report : reports) {
    for (const DocumentEntry& entry : report.entries)
      keys[entry.group].insert(entry.key);
  }
  int differences = 0;
  for (const auto& group : keys) {
    bool headed = false;
    for (const std::string& key : group.second) {
      std::string before;
      std::string after;
      const bool inA = a.Get(group.first, key, &before);
      const bool inB = b.Get(group.first, key, &after);
      if (inA == inB && before == after) continue;
      if (!headed) {
        std::printf("%s\n", GroupName(group.first));
        headed = true;
      }
      ++differences;
      if (!inA) {
        std::printf("  + %s = \"%s\"\n", key.c_str(), after.c_str());
      } else if (!inB) {
        std::printf("  - %s = \"%s\"\n", key.c_str(), before.c_str());
      } else {
        std::printf("  ~ %s: \"%s\" -> \"%s\"\n", key.c_str(), before.c_str(), after.c_str());
      }
    }
  }
  if (differences == 0) {
    std::printf("no differences\n");
    return kExitOk;
  }
  return kExitProblem;
}

int RunToggles(const Args& args) {
  if (WantsHelp(args)) return PrintCommandHelp("toggles") ? kExitOk : kExitTrouble;
  if (HasUnknownOption("toggles", args)) return kExitTrouble;
  if (args.size() > 1) {
    std::fprintf(stderr, "mediastores-config toggles: at most one filter text (see --help)\n");
    return kExitTrouble;
  }
  auto lower = [](std::string text) {
    for (char& c : text)
      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  };
  const std::string filter = args.empty() ? std::string() : lower(args[0]);
  int shown = 0;
  for (uint32_t id = 0; id < kelStore::kKelFeatureToggleCount; ++id) {
    const char* key = kelStore::KelFeatureToggleKey(static_cast<kelStore::KelFeatureToggleID>(id));
    if (key == nullptr || lower(key).find(filter) == std::string::npos) continue;
    std::printf("%3u  %s\n", id, key);
    ++shown;
  }
  if (shown == 0) {
    std::fprintf(stderr, "mediastores-config toggles: no key holds \"%s\"\n", args[0].c_str());
    return kExitProblem;
  }
  return kExitOk;
}

void PrintToolHelp() {
  std::printf(
      "Usage: mediastores-config COMMAND [ARGS]\n"
      "\n"
      "Works with configuration documents: the JSON text that IKelConfig::ApplyKelConfigs\n"
      "loads and DumpKelConfigs writes, one object whose members are group names, each with\n"
      "an array of {\"key\": NAME, \"value\": TEXT} entries.\n"
      "\n"
      "Commands:\n"
      "  check FILE...    explain the first problem of each document\n"
      "  normalize FILE   print the document as the store dumps it (canonical order)\n"
      "  diff A B         what B adds (+), removes (-) and changes (~) relative to A\n"
      "  toggles [TEXT]   the feature toggle table: id and key (keys holding TEXT)\n"
      "\n"
      "FILE may be - for standard input. Run 'mediastores-config COMMAND --help' for a\n"
      "command's details. Problems are written to standard error.\n"
      "\n"
      "%s",
      kExitText);
}

bool PrintCommandHelp(const std::string& command) {
  if (command == "check") {
    std::printf(
        "Usage: mediastores-config check FILE...\n"
        "\n"
        "Reads each document as the configuration store does and reports the first problem:\n"
        "text that is not JSON (with line and column), a top level that is not an object, an\n"
        "unknown group name (with the valid names and the closest one), a group that is not an\n"
        "array, an entry (by group and index) without \"key\" or \"value\" or with a value that\n"
        "is not a text, an empty key, a group given twice, a key given twice with different\n"
        "values, and texts a dump cannot give back (double quotes, backslashes, NUL).\n"
        "Prints \"FILE: ok (G groups, N values)\" for a good document.\n"
        "\n"
        "Exit status: 0 when the store takes every document entirely as written, 1 when a\n"
        "document has a problem, 2 when a file cannot be read or the command line is wrong.\n");
    return true;
  }
  if (command == "normalize") {
    std::printf(
        "Usage: mediastores-config normalize FILE\n"
        "\n"
        "Applies the document to a scratch store and prints the store's dump of the groups the\n"
        "document names: one line, groups in byte-wise order of their names, entries in\n"
        "byte-wise order of their keys, later repeats of a key folded into one entry.\n"
        "\n"
        "Exit status: 0 when printed and the document has no problem, 1 when the store refuses\n"
        "the document (nothing printed) or a problem was found (printed, problem on standard\n"
        "error), 2 when the file cannot be read or the command line is wrong.\n");
    return true;
  }
  if (command == "diff") {
    std::printf(
        "Usage: mediastores-config diff A B\n"
        "\n"
        "Applies both documents to scratch stores and lists, per group and key, what B adds\n"
        "(+ key = \"value\"), removes (- key = \"value\") and changes (~ key: \"old\" -> \"new\")\n"
        "relative to A. Prints \"no differences\" when the stores hold the same values.\n"
        "\n"
        "Exit status: 0 no differences, 1 differences, 2 when a file cannot be read, the store\n"
        "refuses a document, or the command line is wrong.\n");
    return true;
  }
  if (command == "toggles") {
    std::printf(
        "Usage: mediastores-config toggles [TEXT]\n"
        "\n"
        "Lists the feature toggles: id (KelFeatureToggleID) and key, the name under which the\n"
        "toggle is stored in the Feature group. With TEXT, only keys holding TEXT (any letter\n"
        "case). A toggle is on unless a value that reads as false (\"\", \"0\", \"false\",\n"
        "\"off\", \"no\") is stored for it.\n"
        "\n"
        "Exit status: 0, or 1 when no key holds TEXT, 2 when the command line is wrong.\n");
    return true;
  }
  return false;
}

}  // namespace msconfig
