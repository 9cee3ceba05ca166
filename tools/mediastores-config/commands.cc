#include "tools/mediastores-config/commands.h"

#include <getopt.h>
#include <mediastores/feature_toggle.h>
#include <mediastores/kel_config_group.h>
#include <mediastores/result_codes.h>

#include <cctype>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mediastores/version.h"
#include "tools/mediastores-config/document_check.h"
#include "tools/mediastores-config/document_file.h"
#include "tools/mediastores-config/document_schema.h"
#include "tools/mediastores-config/json_text.h"
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

// getopt_long values of the options without a short form.
enum LongOnly { kFormat = 256, kVersion };

enum class Format { kText, kJson };

// A command's options and operands.
struct CommandLine {
  Format format = Format::kText;
  std::vector<std::string> operands;
};

// Why getopt_long refused `word`: `value` is its optopt.
std::string Refusal(const std::string& word, int value) {
  if (word.rfind("--", 0) != 0)
    return "unknown option -" + std::string(1, static_cast<char>(value));
  const std::string name = word.substr(0, word.find('='));
  return value != 0 ? name + " takes no value" : "unknown option " + name;
}

// Reads a command's options ("--format json" or "--format=json" where `takesFormat`, -h, --help;
// "--" ends them). Returns -1 when the command is to run, else the exit status.
int ReadCommandLine(const std::string& command, bool takesFormat, int argc, char** argv,
                    CommandLine* line) {
  static const option kOptions[] = {
      {"format", required_argument, nullptr, kFormat},
      {"help", no_argument, nullptr, 'h'},
      {nullptr, 0, nullptr, 0},
  };
  opterr = 0;  // the messages are ours
  optind = 0;  // a fresh scan of a new argument vector
  for (;;) {
    const int c = getopt_long(argc, argv, ":h", takesFormat ? kOptions : kOptions + 1, nullptr);
    if (c == -1) break;
    std::string problem;
    if (c == 'h') return PrintCommandHelp(command) ? kExitOk : kExitTrouble;
    if (c == kFormat && std::string(optarg) == "text") {
      line->format = Format::kText;
      continue;
    }
    if (c == kFormat && std::string(optarg) == "json") {
      line->format = Format::kJson;
      continue;
    }
    if (c == kFormat) {
      problem = std::string("--format takes text or json, not '") + optarg + "'";
    } else if (c == ':') {
      problem = "--format needs a value";
    } else {
      problem = Refusal(argv[optind - 1], optopt);
    }
    std::fprintf(stderr, "mediastores-config %s: %s (see --help)\n", command.c_str(),
                 problem.c_str());
    return kExitTrouble;
  }
  line->operands.assign(argv + optind, argv + argc);
  return -1;
}

const char* GroupName(uint32_t group) {
  return kelStore::KelConfigGroup2GroupName(static_cast<kelStore::KelConfigGroup>(group));
}

// Reads a document, or says on standard error why it cannot.
bool ReadDocument(const std::string& path, std::string* text) {
  std::string error;
  if (ReadDocumentFile(path, text, &error)) return true;
  std::fprintf(stderr, "mediastores-config: %s\n", error.c_str());
  return false;
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

// {"line":L,"column":C,"message":...}, without the place when it has none.
std::string ProblemJson(const std::string& message, TextPosition at) {
  std::string text = "{";
  if (at.line > 0) {
    text +=
        "\"line\":" + std::to_string(at.line) + ",\"column\":" + std::to_string(at.column) + ",";
  }
  return text + "\"message\":" + JsonQuoted(message) + "}";
}

// The distinct keys the store holds after the document.
size_t ValueCount(const CheckReport& report) {
  std::set<std::pair<uint32_t, std::string>> values;
  for (const DocumentEntry& entry : report.entries)
    values.emplace(entry.group, entry.key);
  return values.size();
}

// One line of JSON for a checked file; `report` is null when the file could not be read.
void PrintCheckJson(const std::string& path, const CheckReport* report, const std::string& error) {
  std::string line = "{\"file\":" + JsonQuoted(path);
  std::string errors;
  std::string warnings;
  std::string notes;
  if (report == nullptr) {
    line += ",\"ok\":false,\"result\":null,\"groups\":0,\"values\":0";
    errors = ProblemJson(error, {0, 0});
  } else {
    line += std::string(",\"ok\":") + (report->accepted ? "true" : "false") +
            ",\"result\":" + (report->refusedByStore ? "\"KEL_E_BADSTATE\"" : "\"KEL_S_OK\"");
    if (report->refusedByStore) {
      line += ",\"setBeforeRefusal\":" + std::to_string(report->appliedBeforeRefusal);
    }
    line += ",\"groups\":" + std::to_string(report->groupCount) +
            ",\"values\":" + std::to_string(ValueCount(*report));
    if (!report->accepted) {
      (report->refusedByStore ? errors : warnings) =
          ProblemJson(report->problem, report->problemAt);
    }
    for (const std::string& note : report->notes)
      notes += (notes.empty() ? "" : ",") + JsonQuoted(note);
  }
  std::printf("%s,\"errors\":[%s],\"warnings\":[%s],\"notes\":[%s]}\n", line.c_str(),
              errors.c_str(), warnings.c_str(), notes.c_str());
}

int RunCheck(const CommandLine& line) {
  if (line.operands.empty()) {
    std::fprintf(stderr, "mediastores-config check: no file given (see --help)\n");
    return kExitTrouble;
  }
  const bool json = line.format == Format::kJson;
  int status = kExitOk;
  for (const std::string& path : line.operands) {
    std::string text;
    std::string error;
    if (!ReadDocumentFile(path, &text, &error)) {
      if (json) {
        PrintCheckJson(path, nullptr, error);
      } else {
        std::fprintf(stderr, "mediastores-config: %s\n", error.c_str());
      }
      status = kExitTrouble;
      continue;
    }
    const CheckReport report = CheckConfigDocument(text);
    if (!report.accepted && status == kExitOk) status = kExitProblem;
    if (json) {
      PrintCheckJson(path, &report, error);
      continue;
    }
    PrintNotes(path, report);
    if (!report.accepted) {
      PrintProblem(path, report);
      continue;
    }
    const size_t values = ValueCount(report);
    std::printf("%s: ok (%d group%s, %zu value%s)\n", path.c_str(), report.groupCount,
                report.groupCount == 1 ? "" : "s", values, values == 1 ? "" : "s");
  }
  return status;
}

int RunNormalize(const CommandLine& line) {
  if (line.operands.size() != 1) {
    std::fprintf(stderr, "mediastores-config normalize: give exactly one file (see --help)\n");
    return kExitTrouble;
  }
  const std::string& path = line.operands[0];
  std::string text;
  if (!ReadDocument(path, &text)) return kExitTrouble;
  const CheckReport report = CheckConfigDocument(text);
  PrintNotes(path, report);
  if (report.refusedByStore) {
    PrintProblem(path, report);
    return kExitProblem;
  }
  ScratchStore store(kScratchCallA);
  if (store.Apply(text) != KEL_S_OK) {
    std::fprintf(stderr, "%s: error: the store refused the document\n", path.c_str());
    return kExitProblem;
  }
  std::printf("%s\n", store.Dump(report.groupMask).c_str());
  if (!report.accepted) {
    PrintProblem(path, report);
    return kExitProblem;
  }
  return kExitOk;
}

// One difference between the stores: '+' added, '-' removed, '~' changed.
struct Difference {
  char change;
  std::string group;
  std::string key;
  std::string before;
  std::string after;
};

void PrintDifferences(const std::vector<Difference>& differences) {
  if (differences.empty()) std::printf("no differences\n");
  for (size_t i = 0; i < differences.size(); ++i) {
    const Difference& d = differences[i];
    if (i == 0 || differences[i - 1].group != d.group) std::printf("%s\n", d.group.c_str());
    if (d.change == '+') {
      std::printf("  + %s = \"%s\"\n", d.key.c_str(), d.after.c_str());
    } else if (d.change == '-') {
      std::printf("  - %s = \"%s\"\n", d.key.c_str(), d.before.c_str());
    } else {
      std::printf("  ~ %s: \"%s\" -> \"%s\"\n", d.key.c_str(), d.before.c_str(), d.after.c_str());
    }
  }
}

// {"a":A,"b":B,"same":...,"differences":[{"group":..,"key":..,"change":..,"old":..,"new":..}]}
void PrintDifferencesJson(const std::string& a, const std::string& b,
                          const std::vector<Difference>& differences) {
  std::string list;
  for (const Difference& d : differences) {
    list += list.empty() ? "{" : ",{";
    list += "\"group\":" + JsonQuoted(d.group) + ",\"key\":" + JsonQuoted(d.key) + ",\"change\":" +
            (d.change == '+'   ? "\"added\""
             : d.change == '-' ? "\"removed\""
                               : "\"changed\"");
    if (d.change != '+') list += ",\"old\":" + JsonQuoted(d.before);
    if (d.change != '-') list += ",\"new\":" + JsonQuoted(d.after);
    list += "}";
  }
  std::printf("{\"a\":%s,\"b\":%s,\"same\":%s,\"differences\":[%s]}\n", JsonQuoted(a).c_str(),
              JsonQuoted(b).c_str(), differences.empty() ? "true" : "false", list.c_str());
}

int RunDiff(const CommandLine& line) {
  if (line.operands.size() != 2) {
    std::fprintf(stderr, "mediastores-config diff: give two files, A and B (see --help)\n");
    return kExitTrouble;
  }
  std::string texts[2];
  CheckReport reports[2];
  for (int i = 0; i < 2; ++i) {
    const std::string& path = line.operands[i];
    if (!ReadDocument(path, &texts[i])) return kExitTrouble;
    reports[i] = CheckConfigDocument(texts[i]);
    PrintNotes(path, reports[i]);
    if (reports[i].refusedByStore) {
      PrintProblem(path, reports[i]);
      return kExitTrouble;
    }
    if (!reports[i].accepted) PrintProblem(path, reports[i]);
  }
  // Compare what the two stores hold, key by key: groups in byte-wise order of their names, as a
  // dump (normalize) writes them, then keys in byte-wise order.
  ScratchStore a(kScratchCallA);
  ScratchStore b(kScratchCallB);
  a.Apply(texts[0]);
  b.Apply(texts[1]);
  std::map<std::string, std::pair<uint32_t, std::set<std::string>>> keys;
  for (const CheckReport& report : reports) {
    for (const DocumentEntry& entry : report.entries) {
      auto& group = keys[GroupName(entry.group)];
      group.first = entry.group;
      group.second.insert(entry.key);
    }
  }
  std::vector<Difference> differences;
  for (const auto& group : keys) {
    for (const std::string& key : group.second.second) {
      Difference d{'~', group.first, key, std::string(), std::string()};
      const bool inA = a.Get(group.second.first, key, &d.before);
      const bool inB = b.Get(group.second.first, key, &d.after);
      if (inA == inB && d.before == d.after) continue;
      d.change = !inA ? '+' : !inB ? '-' : '~';
      differences.push_back(d);
    }
  }
  if (line.format == Format::kJson) {
    PrintDifferencesJson(line.operands[0], line.operands[1], differences);
  } else {
    PrintDifferences(differences);
  }
  return differences.empty() ? kExitOk : kExitProblem;
}

int RunToggles(const CommandLine& line) {
  if (line.operands.size() > 1) {
    std::fprintf(stderr, "mediastores-config toggles: at most one filter text (see --help)\n");
    return kExitTrouble;
  }
  auto lower = [](std::string text) {
    for (char& c : text)
      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
  };
  const std::string filter = line.operands.empty() ? std::string() : lower(line.operands[0]);
  int shown = 0;
  for (uint32_t id = 0; id < kelStore::kKelFeatureToggleCount; ++id) {
    const char* key = kelStore::KelFeatureToggleKey(static_cast<kelStore::KelFeatureToggleID>(id));
    if (key == nullptr || lower(key).find(filter) == std::string::npos) continue;
    std::printf("%3u  %s\n", id, key);
    ++shown;
  }
  if (shown == 0) {
    std::fprintf(stderr, "mediastores-config toggles: no key holds \"%s\"\n",
                 line.operands[0].c_str());
    return kExitProblem;
  }
  return kExitOk;
}

int RunSchema(const CommandLine& line) {
  if (!line.operands.empty()) {
    std::fprintf(stderr, "mediastores-config schema: takes no operands (see --help)\n");
    return kExitTrouble;
  }
  std::fputs(ConfigDocumentSchema().c_str(), stdout);
  return kExitOk;
}

}  // namespace

int RunTool(int argc, char** argv) {
  static const option kOptions[] = {
      {"help", no_argument, nullptr, 'h'},
      {"version", no_argument, nullptr, kVersion},
      {nullptr, 0, nullptr, 0},
  };
  opterr = 0;
  optind = 0;
  // '+': the tool's options end at the command; the command reads its own.
  for (int c; (c = getopt_long(argc, argv, "+:h", kOptions, nullptr)) != -1;) {
    if (c == 'h') {
      PrintToolHelp();
      return kExitOk;
    }
    if (c == kVersion) {
      std::printf("mediastores-config %s\n", MEDIASTORES_VERSION_STRING);
      return kExitOk;
    }
    std::fprintf(stderr, "mediastores-config: %s (see --help)\n",
                 Refusal(argv[optind - 1], optopt).c_str());
    return kExitTrouble;
  }
  if (optind >= argc) {
    std::fprintf(
        stderr, "Usage: mediastores-config check|normalize|diff|toggles|schema ... (see --help)\n");
    return kExitTrouble;
  }
  const std::string command = argv[optind];
  const int commandArgc = argc - optind;
  char** const commandArgv = argv + optind;
  if (command == "help") {
    if (commandArgc > 1) return PrintCommandHelp(commandArgv[1]) ? kExitOk : kExitTrouble;
    PrintToolHelp();
    return kExitOk;
  }
  static const struct {
    const char* name;
    bool takesFormat;
    int (*run)(const CommandLine&);
  } kCommands[] = {
      {"check", true, RunCheck},      {"normalize", false, RunNormalize}, {"diff", true, RunDiff},
      {"toggles", false, RunToggles}, {"schema", false, RunSchema},
  };
  for (const auto& known : kCommands) {
    if (command != known.name) continue;
    CommandLine line;
    const int status = ReadCommandLine(command, known.takesFormat, commandArgc, commandArgv, &line);
    return status >= 0 ? status : known.run(line);
  }
  std::fprintf(stderr, "mediastores-config: unknown command '%s' (see --help)\n", command.c_str());
  return kExitTrouble;
}

void PrintToolHelp() {
  std::printf(
      "Usage: mediastores-config [OPTION] COMMAND [ARGS]\n"
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
      "  schema           print a JSON Schema (draft 2020-12) of the document format\n"
      "\n"
      "Options:\n"
      "  -h, --help       this text; 'mediastores-config COMMAND --help' for a command's\n"
      "  --version        print \"mediastores-config VERSION\" and exit\n"
      "\n"
      "Options take their value as --opt=value or --opt value; -- ends the options. FILE may\n"
      "be - for standard input; a document larger than %zu MiB is refused as unreadable.\n"
      "Problems are written to standard error.\n"
      "\n"
      "%s",
      kMaxDocumentBytes >> 20, kExitText);
}

bool PrintCommandHelp(const std::string& command) {
  if (command == "check") {
    std::printf(
        "Usage: mediastores-config check [--format=text|json] FILE...\n"
        "\n"
        "Reads each document as the configuration store does and reports the first problem:\n"
        "text that is not JSON (with line and column), a top level that is not an object, an\n"
        "unknown group name (with the valid names and the closest one), a group that is not an\n"
        "array, an entry (by group and index) without \"key\" or \"value\" or with a value that\n"
        "is not a text, an empty key, a group given twice, a key given twice with different\n"
        "values, texts a dump cannot give back (double quotes, backslashes, NUL), \\u escapes\n"
        "above 0x7F (the reader keeps one byte of them), and a NUL byte in the file (the\n"
        "library reads the text only up to it).\n"
        "Prints \"FILE: ok (G groups, N values)\" for a good document.\n"
        "\n"
        "  --format=json    one JSON object per file, one line each, on standard output:\n"
        "                   {\"file\", \"ok\", \"result\" (what ApplyKelConfigs returns), "
        "\"groups\",\n"
        "                   \"values\", \"errors\" and \"warnings\" ([{\"line\", \"column\",\n"
        "                   \"message\"}], the place when there is one), \"notes\" ([text])}\n"
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
        "Usage: mediastores-config diff [--format=text|json] A B\n"
        "\n"
        "Applies both documents to scratch stores and lists, per group and key, what B adds\n"
        "(+ key = \"value\"), removes (- key = \"value\") and changes (~ key: \"old\" -> \"new\")\n"
        "relative to A, groups in byte-wise order of their names (as normalize writes them).\n"
        "Prints \"no differences\" when the stores hold the same values.\n"
        "\n"
        "  --format=json    one JSON object: {\"a\", \"b\", \"same\", \"differences\": "
        "[{\"group\",\n"
        "                   \"key\", \"change\" (added, removed, changed), \"old\", \"new\"}]}\n"
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
  if (command == "schema") {
    std::printf(
        "Usage: mediastores-config schema\n"
        "\n"
        "Prints a JSON Schema (draft 2020-12) of configuration documents, for an editor or a\n"
        "validator: the group names, entries with a non-empty text \"key\" and a text\n"
        "\"value\", and the feature toggle keys of the Feature group with their ids (other keys\n"
        "are allowed there too). It refuses what the store refuses and empty keys; check also\n"
        "finds texts a dump cannot give back, wide \\u escapes and repeated groups and keys.\n"
        "  mediastores-config schema > mediastores-config.schema.json\n"
        "\n"
        "Exit status: 0, or 2 when the command line is wrong.\n");
    return true;
  }
  return false;
}

}  // namespace msconfig
