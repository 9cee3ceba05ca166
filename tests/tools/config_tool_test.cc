// mediastores-config on good and bad documents: each command's exit status and what it says, and
// every check verdict compared with what the library itself does with the document.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "mediaengine/mediastores/src/config/kel_config_store.h"
#include "mediastores/mediastores.h"
#include "mediastores/version.h"
#include "tests/tools/tool_runner.h"

namespace {

#ifdef MEDIASTORES_CONFIG_PATH
const char kTool[] = MEDIASTORES_CONFIG_PATH;
const char kDocuments[] = MEDIASTORES_CONFIG_DOCUMENTS;
#else
const char kTool[] = "";
const char kDocuments[] = "";
#endif

// One run: the arguments (one that starts with '=' stands for a file holding the rest of it), the
// exit status, and a text the output or the errors hold; a text that ends a line is the whole
// output.
struct Case {
  std::vector<std::string> args;
  int exitCode;
  std::string says;
};

class ConfigTool : public ::testing::Test {
 protected:
  void SetUp() override {
    if (kTool[0] == '\0') GTEST_SKIP() << "mediastores-config is not built";
  }
  toolstest::ToolRun Run(const Case& c) {
    std::vector<std::string> args;
    for (const std::string& arg : c.args) {
      const std::string file = std::to_string(args.size()) + ".json";
      args.push_back(arg[0] == '=' ? dir_.Write(file, arg.substr(1)) : arg);
    }
    const toolstest::ToolRun run = toolstest::RunTool(kTool, args);
    EXPECT_EQ(run.exitCode, c.exitCode) << (c.args.empty() ? "" : c.args.back());
    EXPECT_NE((run.out + run.err).find(c.says), std::string::npos) << run.out << run.err;
    EXPECT_EQ(run.out, c.says.empty() || c.says.back() != '\n' ? run.out : c.says);
    return run;
  }
  toolstest::ScratchDir dir_;
};

TEST_F(ConfigTool, CheckExplainsTheFirstProblemAndAgreesWithTheLibrary) {
  struct Document {
    std::string document;
    int exitCode;
    std::string says;
  };
  std::vector<Document> cases = {
      {"  \n", 1, "the file is empty"},
      {"{\"Audio\": []\n", 1, "line 2, column 1: expected ',' or '}' after the value of member"},
      {R"({"Audio": [{"key": "a", "value": "1}]})", 1, "line 1, column 34: the text that starts"},
      {"{\"Audio\"\n  []}", 1, "line 2, column 3: expected ':' after the member name"},
      {R"({"Audio": [{"key": "a", "value": yes}]})", 1, "line 1, column 34: unknown word 'yes'"},
      {std::string(300, '[') + std::string(300, ']'), 1,
       "line 1, column 257: containers are nested"},
      {R"({"Audio": ["a,b"]})", 1, "line 1, column 12: the reader refuses the value that starts"},
      {R"({"Audio": [{"key": "a" "value": "1"}]})", 0, "not strict JSON: line 1, column 24"},
      {R"({"Audio": [{"key": "L", "value": "a \"b\""}]})", 1, "the value holds a double quote"},
      {R"({"Audio": [{"key": "P", "value": "C:\\m"}]})", 1, "the value holds a backslash"},
      {R"({"Audio": [{"key": "N", "value": "a\u0000b"}]})", 1, "the value holds a NUL"},
      // The reader keeps the last two digits of an escape; the nulls of an array are dropped.
      {R"({"Audio": [null, {"key": "a", "value": "caf\u00e9"}]})", 1,
       "entry 1 (index 0), key \"a\": the value holds \\u00e9 (line 1, column 44): the library's "
       "reader keeps only its last two hexadecimal digits, the single byte 0xE9, not"},
      {R"({"Audio": [{"key": "\u4e2d", "value": "1"}]})", 1,
       "key \"-\": the key holds \\u4e2d (line 1, column 21): the library's reader keeps only "
       "its last two hexadecimal digits, the single byte 0x2D, not the character U+4E2D"},
      // ApplyKelConfigs takes a C string: a NUL byte ends the document.
      {R"({"Common": [{"key": "a", "value": "1"}]})" + std::string(1, '\0') + R"(, "Zzz": [])", 1,
       "the library reads only the first 40 bytes: a NUL byte ends the text (line 1, column 41)"},
      {std::string("{\"Au\0dio\": []}", 14), 1, "the library reads only the first 4 bytes"},
      {"{\"Audio\": [],\n \"Video\": [],\n \"Audio\": []}", 1,
       "\"Audio\" appears twice (lines 1 and 3)"},
      {R"({"Common": [{"key": "a", "value": "1"}, {"key": "a", "value": "2"}]})", 1,
       "key \"a\" appears in entry 1 and entry 2 with different values; the store keeps the last"},
  };
  // The documents whose verdict is their structure, shared with the schema's check.
  std::ifstream shared(kDocuments);
  ASSERT_TRUE(shared.is_open()) << kDocuments;
  for (std::string row; std::getline(shared, row);) {
    if (row.empty() || row[0] == '#') continue;
    const size_t tab = row.find('\t');
    const size_t tab2 = row.find('\t', tab + 1);
    cases.push_back({row.substr(tab2 + 1), std::stoi(row), row.substr(tab + 1, tab2 - tab - 1)});
  }
  for (const auto& c : cases) {
    const toolstest::ToolRun run = Run({{"check", "=" + c.document}, c.exitCode, c.says});
    // Exit 0 only when the library takes the whole document and the store's dump of it gives the
    // same store back; the tool says which of its two answers ApplyKelConfigs gives.
    kelStore::KelConfig first(1);
    kelStore::KelConfig second(2);
    const int32_t applied = first.ApplyKelConfigs(c.document.c_str());
    const std::string dump = first.DumpKelConfigs(0x1FFF);
    const bool same =
        second.ApplyKelConfigs(dump.c_str()) == KEL_S_OK && dump == second.DumpKelConfigs(0x1FFF);
    EXPECT_TRUE(run.exitCode != 0 || (applied == KEL_S_OK && same)) << c.document;
    EXPECT_EQ(run.err.find("with KEL_E_BADSTATE") != std::string::npos, applied == KEL_E_BADSTATE);
    EXPECT_EQ(run.err.find("returns KEL_S_OK") != std::string::npos,
              run.exitCode != 0 && applied == KEL_S_OK);
  }
}

TEST_F(ConfigTool, NormalizeDiffAndTheCommandLine) {
  const std::string normalized =
      R"({"Audio":[{"key":"r","value":"5"}],"Common":[],"Video":[{"key":"a","value":"1"},)"
      R"({"key":"b","value":"2"}]})"
      "\n";
  const std::string a =
      R"(={"Audio":[{"key":"a","value":"1"},{"key":"b","value":"2"}],"Video":[]})";
  // A document of exactly the largest size the tool reads, all NUL bytes.
  const std::string limit = dir_.Write("limit.json", "");
  std::filesystem::resize_file(limit, 64u << 20);
  const Case cases[] = {
      // The dump of the named groups, even with a problem (a repeated key); it normalizes to
      // itself.
      {{"normalize", R"(={"Video":[{"key":"b","value":"2"},{"key":"a","value":"1"}],"Common":[],)"
                     R"("Audio":[{"key":"r","value":"4"},{"key":"r","value":"5"}]})"},
       1,
       normalized},
      {{"normalize", "=" + normalized}, 0, normalized},
      {{"normalize", R"(={"Vidoe": []})"}, 1, "unknown group name"},
      {{"diff", a, R"(={"Video":[],"Audio":[{"key":"b","value":"2"},{"key":"a","value":"1"}]})"},
       0,
       "no differences\n"},
      {{"diff", a,
        R"(={"Audio":[{"key":"b","value":"3"},{"key":"a","value":"0"},{"key":"a",)"
        R"("value":"1"}],"Common":[{"key":"c","value":"4"}]})"},
       1,
       "Audio\n  ~ b: \"2\" -> \"3\"\nCommon\n  + c = \"4\"\n"},
      {{"diff", a, R"(={"Audio":[{"key":"a","value":"1"}]})"}, 1, "Audio\n  - b = \"2\"\n"},
      {{"diff", "={}", R"(={"Audio":[{"key":"a"}]})"}, 2, "no \"value\" member"},
      {{"check", a, R"(={"Audio":[{"key":"a","value":1}]})"}, 1, "2.json: error:"},
      {{"check", a, "missing.json"}, 2, "cannot read missing.json: No such file or directory"},
      {{"check", "/"}, 2, "cannot read /: Is a directory"},
      {{"check", "/dev/zero"}, 2, "cannot read /dev/zero: larger than 64 MiB"},
      {{"check", limit}, 1, "the library reads only the first 0 bytes"},
      {{"check", "--", "-x.json"}, 2, "cannot read -x.json: No such file or directory"},
      {{"check", "--format=xml", "x.json"}, 2, "--format takes text or json, not 'xml'"},
      {{"--version"}, 0, "mediastores-config " MEDIASTORES_VERSION_STRING "\n"},
      {{"--help"}, 0, "  --version"},
      {{"help", "diff"}, 0, "Usage: mediastores-config diff [--format=text|json] A B"},
      {{"check", "--help"}, 0, "Exit status: 0 when the store takes every document"},
      {{}, 2, "Usage: mediastores-config"},
      {{"lint"}, 2, "unknown command 'lint'"},
      {{"check"}, 2, "no file given"},
      {{"check", "--strict", "x.json"}, 2, "unknown option --strict"},
      {{"normalize"}, 2, "give exactly one file"},
      {{"diff", "a.json"}, 2, "give two files"},
  };
  for (const Case& c : cases)
    Run(c);
}

// --format=json reads as strict JSON (python3's reader; quotes, tabs and bytes that are not UTF-8
// escaped), one object per checked file; the reader's view of it, in a canonical form.
TEST_F(ConfigTool, JsonOutputIsStrictJson) {
  if (toolstest::RunTool("/usr/bin/env", {"python3", "-c", ""}).exitCode != 0) {
    GTEST_SKIP() << "python3 is not installed";
  }
  const char kCanonical[] =
      "import json, os, sys\n"
      "for line in open(sys.argv[1], encoding='utf-8'):\n"
      "  o = json.loads(line)\n"
      "  for k in ('file', 'a', 'b'):\n"
      "    if k in o: o[k] = os.path.basename(o[k])\n"
      "  for p in o.get('errors', []) + o.get('warnings', []): p['message'] = p['message'][:16]\n"
      "  print(json.dumps(o, sort_keys=True))\n";
  const std::string a = R"(={"Audio":[{"key":"a","value":"1"},{"key":"b","value":"2"}]})";
  const Case cases[] = {
      {{"check", "--format=json", a, R"(={"Audio":[{"key":"a","value":"\u00e9"}]})",
        "={\"Audio\": [\n  {\"key\": \"a\"}]}", "missing.json"},
       2,
       R"({"errors": [], "file": "2.json", "groups": 1, "notes": [], "ok": true, "result": )"
       R"("KEL_S_OK", "values": 2, "warnings": []})"
       "\n"
       R"({"errors": [], "file": "3.json", "groups": 1, "notes": [], "ok": false, "result": )"
       R"("KEL_S_OK", "values": 1, "warnings": [{"column": 31, "line": 1, "message": )"
       R"("group \"Audio\", e"}]})"
       "\n"
       R"({"errors": [{"column": 3, "line": 2, "message": "group \"Audio\", e"}], "file": )"
       R"("4.json", "groups": 1, "notes": [], "ok": false, "result": "KEL_E_BADSTATE", )"
       R"("setBeforeRefusal": 0, "values": 0, "warnings": []})"
       "\n"
       R"({"errors": [{"message": "cannot read miss"}], "file": "missing.json", "groups": 0, )"
       R"("notes": [], "ok": false, "result": null, "values": 0, "warnings": []})"
       "\n"},
      {{"diff", "--format", "json", a,
        "={\"Common\":[{\"key\":\"k\",\"value\":\"caf\xe9\\\"\\tx\"}],\"Audio\":[{\"key\":\"b\","
        "\"value\":\"3\"}]}"},
       1,
       R"({"a": "3.json", "b": "4.json", "differences": [{"change": "removed", "group": )"
       R"("Audio", "key": "a", "old": "1"}, {"change": "changed", "group": "Audio", "key": )"
       R"("b", "new": "3", "old": "2"}, {"change": "added", "group": "Common", "key": "k", )"
       R"("new": "caf\u00e9\"\tx"}], "same": false})"
       "\n"},
  };
  for (const Case& c : cases) {
    const std::string out = Run({c.args, c.exitCode, ""}).out;
    const toolstest::ToolRun parsed = toolstest::RunTool(
        "/usr/bin/env", {"python3", "-c", kCanonical, dir_.Write("out.json", out)});
    EXPECT_EQ(parsed.out, c.says) << out << parsed.err;
  }
}

TEST_F(ConfigTool, TogglesListsTheLibrarysTable) {
  const std::vector<std::string> lines = toolstest::Lines(Run({{"toggles"}, 0, ""}).out);
  ASSERT_EQ(lines.size(), kelStore::kKelFeatureToggleCount);
  for (uint32_t id = 0; id < kelStore::kKelFeatureToggleCount; ++id) {
    char expected[96];
    std::snprintf(expected, sizeof(expected), "%3u  %s", id,
                  kelStore::KelFeatureToggleKey(static_cast<kelStore::KelFeatureToggleID>(id)));
    EXPECT_EQ(lines[id], expected);
  }
  EXPECT_EQ(Run({{"toggles", "OPUSDTX"}, 0, ""}).out, lines[kelStore::KEL_FT_EnableOpusDtx] + "\n");
  Run({{"toggles", "no-such-toggle"}, 1, "no key holds"});
}

}  // namespace
