// mediastores-config on good and bad documents: each command's exit status and the message that
// explains a problem, with every check verdict compared against what the library itself does
// with the document.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <string>
#include <vector>

#include "mediastores/mediastores.h"
#include "tests/tools/tool_runner.h"

namespace {

using toolstest::Lines;
using toolstest::RunTool;
using toolstest::ScratchDir;
using toolstest::ToolRun;

#ifdef MEDIASTORES_CONFIG_PATH
const char kTool[] = MEDIASTORES_CONFIG_PATH;
#else
const char kTool[] = "";
#endif

#define SKIP_WITHOUT_TOOL() \
  if (kTool[0] == '\0') GTEST_SKIP() << "mediastores-config is not built"

// What the library does with a document: ApplyKelConfigs' answer, and whether the store's dump
// of the result loads into a second store and dumps the same.
struct LibraryVerdict {
  int32_t applied = KEL_E_FAIL;
  bool dumpRoundTrips = false;
};

LibraryVerdict ApplyWithLibrary(const std::string& document) {
  LibraryVerdict verdict;
  kelStore::IKelConfig* first = nullptr;
  kelStore::IKelConfig* second = nullptr;
  kelStore::CreateKelConfig(9001, &first);
  kelStore::CreateKelConfig(9002, &second);
  verdict.applied = first->ApplyKelConfigs(document.c_str());
  const std::string dump = first->DumpKelConfigs(0x1FFF);
  verdict.dumpRoundTrips =
      second->ApplyKelConfigs(dump.c_str()) == KEL_S_OK && dump == second->DumpKelConfigs(0x1FFF);
  kelStore::ReleaseKelConfig(first);
  kelStore::ReleaseKelConfig(second);
  kelStore::CleanUpKelConfig(9001);
  kelStore::CleanUpKelConfig(9002);
  return verdict;
}

struct CheckCase {
  const char* name;
  const char* document;
  int exitCode;
  // Expected in standard output for a good document, in standard error otherwise.
  const char* fragment;
};

// Arrays nested deeper than the reader goes.
const std::string kDeepDocument = std::string(300, '[') + std::string(300, ']');

const CheckCase kCheckCases[] = {
    {"Good",
     R"({"Audio": [{"key": "SampleRate", "value": "48000"}, {"key": "Codec", "value": "opus"}],
         "Video": [{"key": "MaxFrameRate", "value": "30"}]})",
     0, "ok (2 groups, 3 values)"},
    {"EmptyObject", "{}", 0, "ok (0 groups, 0 values)"},
    {"RepeatedKeySameValue", R"({"Common":[{"key":"a","value":"1"},{"key":"a","value":"1"}]})", 0,
     "ok (1 group, 1 value)"},
    {"EmptyValueText", R"({"Common":[{"key":"a","value":""}]})", 0, "ok (1 group, 1 value)"},
    {"EmptyFile", "  \n", 1, "the file is empty"},
    {"UnclosedObject", "{\"Audio\": [{\"key\": \"a\", \"value\": \"1\"}]\n", 1,
     "not a JSON document the library can read: line 2, column 1: expected ',' or '}' after the "
     "value of member \"Audio\""},
    {"UnclosedText", R"({"Audio": [{"key": "a", "value": "1}]})", 1,
     "line 1, column 34: the text that starts here has no closing"},
    {"SingleQuotes", "{'Audio': []}", 1, "not single quotes"},
    {"MissingColon", "{\"Audio\"\n  []}", 1,
     "line 2, column 3: expected ':' after the member name \"Audio\" but found '['"},
    {"BareWord", R"({"Audio": [{"key": "a", "value": yes}]})", 1,
     "line 1, column 34: unknown word 'yes': texts must be in double quotes"},
    {"NestedTooDeep", kDeepDocument.c_str(), 1, "nested deeper than 256 levels"},
    {"MissingCommaIsOnlyANote", R"({"Audio": [{"key": "a" "value": "1"}]})", 0,
     "ok (1 group, 1 value)"},
    {"ExtraEntryMemberIsOnlyANote", R"({"Audio": [{"key": "a", "value": "1", "comment": "why"}]})",
     0, "ok (1 group, 1 value)"},
    {"TopLevelArray", R"([{"Audio": []}])", 1, "the document is an array, not an object"},
    {"TopLevelText", R"("Audio")", 1, "the document is a text, not an object"},
    {"TopLevelNumber", "42", 1, "the document is a number, not an object"},
    {"MisspeltGroup", R"({"Vidoe": []})", 1,
     "unknown group name \"Vidoe\" (did you mean \"Video\"?); valid names: Common, Feature, "
     "Metrics, Audio, AudioSlide, Video, VideoSlide, Application, Gamestate, AudioSi, "
     "Transmission, TAOnly, UnitTest"},
    {"GroupInLowerCase", R"({"audio": []})", 1,
     "(group names are case-sensitive: did you mean \"Audio\"?)"},
    {"FarGroupName", R"({"Zzz": []})", 1, "unknown group name \"Zzz\"; valid names: Common"},
    {"LastGroupName", R"({"LastGroup": []})", 1, "\"LastGroup\" counts the groups"},
    {"GroupHoldsObject", R"({"Audio": {"key": "a", "value": "1"}})", 1,
     "group \"Audio\" holds an object, not an array"},
    {"EntryIsText", R"({"Audio": ["SampleRate"]})", 1,
     "group \"Audio\", entry 1 (index 0): a text, not an object"},
    {"EntryWithoutKey", R"({"Video": [{"key": "MaxFrameRate", "value": "30"}, {"value": "720p"}]})",
     1, "group \"Video\", entry 2 (index 1): no \"key\" member"},
    {"EntryWithoutValue", R"({"Video": [{"key": "MaxFrameRate"}]})", 1,
     "group \"Video\", entry 1 (index 0), key \"MaxFrameRate\": no \"value\" member"},
    {"NumberValue", R"({"Video": [{"key": "MaxFrameRate", "value": 30}]})", 1,
     "key \"MaxFrameRate\": \"value\" is a number, not a text; write it in quotes: \"30\""},
    {"BooleanValue", R"({"Feature": [{"key": "EnableOpusDtx", "value": true}]})", 1,
     "\"value\" is a boolean, not a text; write it in quotes: \"true\""},
    {"NumberKey", R"({"Audio": [{"key": 7, "value": "1"}]})", 1,
     "entry 1 (index 0): \"key\" is a number, not a text"},
    {"EmptyKey", R"({"Audio": [{"key": "", "value": "1"}]})", 1,
     "group \"Audio\", entry 1 (index 0): the \"key\" is empty"},
    {"QuoteInValue", R"({"Audio": [{"key": "Label", "value": "say \"hi\""}]})", 1,
     "key \"Label\": the value holds a double quote"},
    {"BackslashInValue", R"({"Audio": [{"key": "Path", "value": "C:\\media"}]})", 1,
     "key \"Path\": the value holds a backslash"},
    {"NulInValue", R"({"Audio": [{"key": "Name", "value": "a\u0000b"}]})", 1,
     "the value holds a NUL character"},
    {"GroupTwice",
     "{\"Audio\": [{\"key\": \"a\", \"value\": \"1\"}],\n \"Video\": [],\n \"Audio\": []}", 1,
     "group \"Audio\" appears twice (lines 1 and 3)"},
    {"KeyTwiceDifferentValues",
     R"({"Common": [{"key": "a", "value": "1"}, {"key": "a", "value": "2"}]})", 1,
     "key \"a\" appears in entry 1 and entry 2 with different values; the store keeps the last "
     "(\"2\")"},
    {"RefusedAfterSomeEntries", R"({"Common": [{"key": "a", "value": "1"}], "Zzz": []})", 1,
     "the 1 entry it set before"},
    {"RefusalWinsOverSoftProblem",
     R"({"Audio": [{"key": "", "value": "1"}], "Video": [{"key": "x", "value": 1}]})", 1,
     "group \"Video\", entry 1 (index 0), key \"x\": \"value\" is a number"},
};

class ConfigToolCheck : public ::testing::TestWithParam<CheckCase> {};

TEST_P(ConfigToolCheck, ExplainsTheFirstProblemAndAgreesWithTheLibrary) {
  SKIP_WITHOUT_TOOL();
  const CheckCase& c = GetParam();
  ScratchDir dir;
  const std::string file = dir.Write("doc.json", c.document);
  const ToolRun run = RunTool(kTool, {"check", file});
  EXPECT_EQ(run.exitCode, c.exitCode) << run.out << run.err;
  EXPECT_NE((c.exitCode == 0 ? run.out : run.err).find(c.fragment), std::string::npos)
      << "stdout: " << run.out << "\nstderr: " << run.err;

  // Exit 0 exactly when the library takes the whole document: it applies it, and its dump gives
  // the same store back. A refusal by the library is always exit 1, and the tool says which of
  // the two answers ApplyKelConfigs gives.
  const LibraryVerdict library = ApplyWithLibrary(c.document);
  if (run.exitCode == 0) {
    EXPECT_EQ(library.applied, KEL_S_OK);
    EXPECT_TRUE(library.dumpRoundTrips);
  } else {
    EXPECT_EQ(run.exitCode, 1);
    const bool saysRefused = run.err.find("with KEL_E_BADSTATE") != std::string::npos;
    EXPECT_EQ(saysRefused, library.applied == KEL_E_BADSTATE) << run.err;
    EXPECT_EQ(run.err.find("returns KEL_S_OK") != std::string::npos, library.applied == KEL_S_OK);
  }
}

INSTANTIATE_TEST_SUITE_P(Documents, ConfigToolCheck, ::testing::ValuesIn(kCheckCases),
                         [](const ::testing::TestParamInfo<CheckCase>& info) {
                           return std::string(info.param.name);
                         });

TEST(ConfigTool, CheckReportsEveryFileAndTheWorstStatus) {
  SKIP_WITHOUT_TOOL();
  ScratchDir dir;
  const std::string good = dir.Write("good.json", R"({"Audio":[{"key":"a","value":"1"}]})");
  const std::string bad = dir.Write("bad.json", R"({"Audio":[{"key":"a","value":1}]})");
  ToolRun run = RunTool(kTool, {"check", good, bad});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.out.find(good + ": ok"), std::string::npos);
  EXPECT_NE(run.err.find(bad + ": error:"), std::string::npos);

  run = RunTool(kTool, {"check", good, dir.Path("missing.json")});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_NE(run.err.find("cannot read"), std::string::npos);
}

TEST(ConfigTool, NotesDoNotFailADocument) {
  SKIP_WITHOUT_TOOL();
  ScratchDir dir;
  const std::string loose = dir.Write("loose.json", R"({"Audio": [{"key": "a" "value": "1"}]})");
  const std::string extra =
      dir.Write("extra.json", R"({"Audio": [{"key": "a", "value": "1", "comment": "why"}]})");
  const ToolRun run = RunTool(kTool, {"check", loose, extra});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_NE(run.err.find(loose + ": note: the library's lenient reader takes this text, but it is "
                                 "not strict JSON: line 1, column 24"),
            std::string::npos)
      << run.err;
  EXPECT_NE(run.err.find(extra + ": note: group \"Audio\", entry 1 (index 0): member "
                                 "\"comment\" is ignored"),
            std::string::npos)
      << run.err;
}

TEST(ConfigTool, NormalizePrintsTheStoresDumpOfTheNamedGroups) {
  SKIP_WITHOUT_TOOL();
  ScratchDir dir;
  const std::string file = dir.Write("doc.json", R"({
    "Video": [{"key": "MaxFrameRate", "value": "30"}, {"key": "Codec", "value": "h264"}],
    "Audio": [{"key": "SampleRate", "value": "44100"}, {"key": "SampleRate", "value": "48000"}],
    "Common": []
  })");
  ToolRun run = RunTool(kTool, {"normalize", file});
  EXPECT_EQ(run.exitCode, 1);  // the repeated key is a problem, but the dump is printed
  EXPECT_EQ(run.out,
            "{\"Audio\":[{\"key\":\"SampleRate\",\"value\":\"48000\"}],\"Common\":[],"
            "\"Video\":[{\"key\":\"Codec\",\"value\":\"h264\"},{\"key\":\"MaxFrameRate\","
            "\"value\":\"30\"}]}\n");

  // The normalized text is a good document that normalizes to itself.
  const std::string normalized = dir.Write("normalized.json", run.out);
  run = RunTool(kTool, {"normalize", normalized});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, toolstest::ReadFile(normalized));

  run = RunTool(kTool, {"normalize", dir.Write("refused.json", R"({"Vidoe": []})")});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_NE(run.err.find("unknown group name \"Vidoe\""), std::string::npos);
}

struct DiffCase {
  const char* name;
  const char* a;
  const char* b;
  int exitCode;
  const char* out;
};

const DiffCase kDiffCases[] = {
    {"SameValuesInAnotherOrder",
     R"({"Audio":[{"key":"a","value":"1"},{"key":"b","value":"2"}],"Video":[]})",
     R"({"Video":[],"Audio":[{"key":"b","value":"2"},{"key":"a","value":"1"}]})", 0,
     "no differences\n"},
    {"AddsRemovesAndChanges",
     R"({"Audio":[{"key":"SampleRate","value":"48000"},{"key":"Codec","value":"opus"}],
         "Video":[{"key":"MaxFrameRate","value":"30"}]})",
     R"({"Audio":[{"key":"SampleRate","value":"44100"}],
         "Video":[{"key":"MaxFrameRate","value":"30"},{"key":"Layers","value":"3"}],
         "Feature":[{"key":"EnableOpusDtx","value":"off"}]})",
     1,
     "Feature\n  + EnableOpusDtx = \"off\"\nAudio\n  - Codec = \"opus\"\n"
     "  ~ SampleRate: \"48000\" -> \"44100\"\nVideo\n  + Layers = \"3\"\n"},
    {"LaterRepeatWins", R"({"Common":[{"key":"a","value":"1"}]})",
     R"({"Common":[{"key":"a","value":"2"},{"key":"a","value":"1"}]})", 0, "no differences\n"},
};

class ConfigToolDiff : public ::testing::TestWithParam<DiffCase> {};

TEST_P(ConfigToolDiff, ListsWhatBChangesPerGroupAndKey) {
  SKIP_WITHOUT_TOOL();
  const DiffCase& c = GetParam();
  ScratchDir dir;
  const ToolRun run = RunTool(kTool, {"diff", dir.Write("a.json", c.a), dir.Write("b.json", c.b)});
  EXPECT_EQ(run.exitCode, c.exitCode) << run.err;
  EXPECT_EQ(run.out, c.out);
}

INSTANTIATE_TEST_SUITE_P(Documents, ConfigToolDiff, ::testing::ValuesIn(kDiffCases),
                         [](const ::testing::TestParamInfo<DiffCase>& info) {
                           return std::string(info.param.name);
                         });

TEST(ConfigTool, DiffRefusesADocumentTheStoreRefuses) {
  SKIP_WITHOUT_TOOL();
  ScratchDir dir;
  const ToolRun run = RunTool(kTool, {"diff", dir.Write("a.json", "{}"),
                                      dir.Write("b.json", R"({"Audio":[{"key":"a"}]})")});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.out, "");
  EXPECT_NE(run.err.find("no \"value\" member"), std::string::npos);
}

TEST(ConfigTool, TogglesListsTheLibrarysTable) {
  SKIP_WITHOUT_TOOL();
  ToolRun run = RunTool(kTool, {"toggles"});
  ASSERT_EQ(run.exitCode, 0);
  const std::vector<std::string> lines = Lines(run.out);
  ASSERT_EQ(lines.size(), kelStore::kKelFeatureToggleCount);
  for (uint32_t id = 0; id < kelStore::kKelFeatureToggleCount; ++id) {
    char expected[96];
    std::snprintf(expected, sizeof(expected), "%3u  %s", id,
                  kelStore::KelFeatureToggleKey(static_cast<kelStore::KelFeatureToggleID>(id)));
    EXPECT_EQ(lines[id], expected);
  }
  EXPECT_EQ(lines[334], "334  KEL_FT_Unknow");

  run = RunTool(kTool, {"toggles", "OPUS"});
  EXPECT_EQ(run.exitCode, 0);
  ASSERT_FALSE(Lines(run.out).empty());
  for (const std::string& line : Lines(run.out)) {
    std::string lower = line;
    for (char& ch : lower)
      ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    EXPECT_NE(lower.find("opus"), std::string::npos) << line;
  }
  EXPECT_EQ(RunTool(kTool, {"toggles", "no-such-toggle"}).exitCode, 1);
}

struct UsageCase {
  std::vector<std::string> args;
  int exitCode;
  bool onStdout;
  const char* fragment;
};

TEST(ConfigTool, HelpAndCommandLineFaults) {
  SKIP_WITHOUT_TOOL();
  const UsageCase cases[] = {
      {{"--help"}, 0, true, "Exit status:"},
      {{"help", "diff"}, 0, true, "Usage: mediastores-config diff A B"},
      {{"check", "--help"}, 0, true, "Exit status: 0 when the store takes every document"},
      {{"normalize", "--help"}, 0, true, "Usage: mediastores-config normalize FILE"},
      {{"diff", "--help"}, 0, true, "Exit status: 0 no differences, 1 differences"},
      {{"toggles", "--help"}, 0, true, "Usage: mediastores-config toggles [TEXT]"},
      {{}, 2, false, "Usage: mediastores-config"},
      {{"lint"}, 2, false, "unknown command 'lint'"},
      {{"check"}, 2, false, "no file given"},
      {{"check", "--strict", "x.json"}, 2, false, "unknown option --strict"},
      {{"normalize"}, 2, false, "give exactly one file"},
      {{"diff", "a.json"}, 2, false, "give two files"},
  };
  for (const UsageCase& c : cases) {
    const ToolRun run = RunTool(kTool, c.args);
    const std::string shown = c.args.empty() ? "(none)" : c.args[0];
    EXPECT_EQ(run.exitCode, c.exitCode) << shown;
    EXPECT_NE((c.onStdout ? run.out : run.err).find(c.fragment), std::string::npos)
        << shown << "\nstdout: " << run.out << "\nstderr: " << run.err;
  }
}

}  // namespace
