#include "cases.h"

#include "preparations.h"

#include <array>
#include <ostream>

namespace Varnix::Test {

namespace {

using namespace std::string_literals;

using Cases = std::vector<HostileConfiguration>;

constexpr Outcome value = Outcome::VALUE;
constexpr Outcome noValue = Outcome::NO_VALUE;
constexpr Outcome invalid = Outcome::INVALID;
constexpr Outcome unusable = Outcome::UNUSABLE;

void addInPlaceOfTheFile(Cases& cases)
{
    const std::string device = "is a directory or a device";
    for (const auto& [name, kind, words] : {
             std::array{"Directory"s, "directory"s, device},
             {"Pipe", "pipe", "is a pipe"},
             {"Socket", "socket", "is a pipe or a socket"},
             {"LoopOfLinks", "loop", "Too many levels"},
             {"LinkToNothing", "absent", "No such file"},
             {"LinkToNull", "/dev/null", device},
             {"LinkToZero", "/dev/zero", device},
             {"LinkToFull", "/dev/full", device},
             {"LinkToRandom", "/dev/urandom", device},
             {"LinkToTheRoot", "/", device},
             {"LinkToTerminal", "/dev/tty", device},
             {"LinkToProc", "/proc", device},
             {"LinkToItsMemory", "/proc/self/mem", "file I/O error"},
         })
        cases.push_back({"InPlaceOfTheFile" + name, unusable, words, asSpecial, kind});
    cases.push_back({"Sparse", unusable, "file too large", sparse, config});
}

void addIncluded(Cases& cases)
{
    for (const char* const kind : {"directory", "pipe", "socket"})
        cases.push_back({"Included_"s + kind, invalid, "node.cfg:1: error: file I/O error",
                         includedSpecial, kind});
    for (const auto& [name, path, words] :
         {std::array{"Root"s, "/"s, "file I/O error"s},
          {"Here", ".", "file I/O error"},
          {"Null", "/dev/null", "file I/O error"},
          {"Zero", "/dev/zero", "file I/O error"},
          {"Input", "/dev/stdin", "file I/O error"},
          {"Terminal", "/dev/tty", "file I/O error"},
          {"ItsMemory", "/proc/self/mem", "file I/O error"},
          {"ItsDescriptors", "/proc/self/fd", "file I/O error"},
          {"Random", "/dev/urandom", "file I/O error"},
          {"Itself", config, "nesting too deep"},
          {"ItselfThroughDot", "./node.cfg", "nesting too deep"},
          {"Absent", "absent", "cannot open include file"},
          {"Nothing", "", "cannot open include file"},
          {"Blank", " ", "cannot open include file"},
          {"BelowAFile", "good.db/x", "cannot open include file"},
          {"LongName", repeated("x", 300), "cannot open include file"},
          {"LongPath", repeated("x/", 3000), "cannot open include file"},
          {"LineFeed", "a\nb", "cannot open include file"},
          {"Escapes", "a\\q\\\\b\\\"", "cannot open include file"},
          {"NullCharacter", "absent\0good.db"s, "cannot open include file"},
          {"Database", "good.db", "syntax error"}})
        cases.push_back({"Included" + name, invalid, words, included, path});
    cases.push_back({"IncludedLoopOfLinks", invalid, "cannot open", includedSpecial, "loop"});
    cases.push_back({"IncludedLinkToNothing", invalid, "cannot open", includedSpecial, "absent"});
    cases.push_back({"IncludedSparse", invalid, "file too large", sparse, "part"});
    cases.push_back({"ChainOfTen", value, "", chain, "10"});
    cases.push_back(
        {"ChainOfEleven", invalid, "part10:1: error: include file nesting too deep", chain, "11"});
    cases.push_back({"TreeOfTwo", value, "", tree, "2"});
    cases.push_back({"TreeOfAHundred", invalid, "file too large", tree, "100"});
    for (const auto& [name, text] : {std::array{"Comment"s, "/* "s},
                                     {"Text", "\""},
                                     {"Directive", "@include \"x"},
                                     {"LineComment", "# x"},
                                     {"Group", "{"},
                                     {"Null", "\0"s},
                                     {"Escape", "{ component_id = \"\\"}})
        cases.push_back({"IncludedWithUnfinished" + name, invalid, "error: ", includedText, text});
    cases.push_back({"IncludedEmpty", noValue, "", includedText, ""});
    cases.push_back({"IncludedEntry", value, "", includedText, entry});
}

void addSyntax(Cases& cases)
{
    int number = 0;
    for (const std::string& text : {"\0"s,
                                    "\xFF\xFE"s,
                                    "%"s,
                                    "@"s,
                                    "@include"s,
                                    "@include good"s,
                                    "\""s,
                                    "\\"s,
                                    "{"s,
                                    "}"s,
                                    "("s,
                                    ")"s,
                                    "["s,
                                    "]"s,
                                    "="s,
                                    "a"s,
                                    "a ="s,
                                    "a = ;"s,
                                    "a = 1; a = 2;"s,
                                    "a = [ 1, \"b\" ];"s,
                                    "a = [ [ 1 ] ];"s,
                                    "a = ( 1, );"s,
                                    "a = {"s,
                                    "a = (("s,
                                    "varnix.component_versions = ();"s,
                                    "\xEF\xBB\xBFvarnix = {};"s,
                                    "varnix = { component_versions = ( { component_id = \"a"s,
                                    "x @include \"part\""s,
                                    "# no line end"s,
                                    "// no line end"s,
                                    "a = 1e;"s,
                                    "a = 0x;"s,
                                    repeated("a = ", 1000),
                                    repeated("\"", 9999),
                                    repeated("}", 10000),
                                    repeated("\0"s, 100000)})
        cases.push_back({"Syntax" + std::to_string(++number), invalid, "node.cfg:", asText, text});
}

void addMeaning(Cases& cases)
{
    int number = 0;
    for (const std::string& text :
         {""s, "\n"s, "/* unfinished"s, "varnix = 1;"s, "varnix = {};"s, "varnix = ();"s,
          "component_versions = ();"s, "VARNIX = { component_versions = (); };"s})
        cases.push_back({"WithoutTheList" + std::to_string(++number), invalid,
                         "Failed to find varnix.component_versions", asText, text});
    number = 0;
    for (const std::string& entries :
         {"1"s, "\"a\""s, "()"s, "[]"s, "{}"s, "{ component_id = 1; }"s, "{ component_id = {}; }"s,
          "{ component_id = \"a\"; revision = 1; }"s,
          "{ component_id = \"a\"; revision = \"1\"; }"s,
          "{ component_id = \"a\"; revision = \"1\"; file_paths = ( 1 ); }"s,
          "{ component_id = \"a\"; revision = \"1\"; file_paths = ( ( \"good.db\" ) ); }"s,
          entry + ", {}"})
        cases.push_back({"MalformedEntry" + std::to_string(++number), invalid, "Failed to get",
                         asText, listOf(entries)});
    for (const std::string& list : {"1"s, "\"a\""s, "1.5"s, "true"s, "{}"s, "[]"s, "()"s})
        cases.push_back({"ListThatIs" + std::to_string(++number), noValue, "no file is selected",
                         asText, "varnix = { component_versions = " + list + "; };"});
}

void addSizes(Cases& cases)
{
    for (const auto& [name, open, close] : {std::array{"Lists"s, "("s, ")"s},
                                            {"Groups", "{ a = ", "}"},
                                            {"OpenLists", "(", ""},
                                            {"OpenGroups", "{ a = ", ""},
                                            {"OpenArrays", "[", ""}}) {
        const int deep = 99999;
        cases.push_back({"Deep" + name, invalid, "error: ", asText,
                         "a = " + repeated(open, deep) + repeated(close, deep) + ";" + good});
    }
    cases.push_back({"NinetyDeep", value, "", asText,
                     "a = " + repeated("(", 90) + repeated(")", 90) + ";" + good});
    cases.push_back(
        {"ManySettings", invalid, "too many settings in one group", manySettings, "200000"});
    cases.push_back({"LongNames", invalid, "too many settings in one group", asText,
                     repeated("a", 10) + "=1;" + [] {
                         std::string text;
                         for (int i = 0; i < 2000; ++i)
                             text += repeated("b", 1000) + std::to_string(i) + "=1;";
                         return text;
                     }()});
    cases.push_back({"ThousandSettings", value, "", manySettings, "1000"});
    cases.push_back({"ManyEntries", value, "", manyEntries, "3000"});
    cases.push_back(
        {"LongText", value, "", asText, "a = \"" + repeated("x", 1 << 20) + "\";" + good});
    cases.push_back({"LongName", value, "", asText, repeated("x", 1 << 20) + " = 1;" + good});
    cases.push_back({"LongComment", value, "", asText,
                     "/*" + repeated("@include \"/\"\n", 50000) + "*/" + good});
    cases.push_back(
        {"ManyTexts", value, "", asText, "a = " + repeated("\"x\" ", 100000) + ";" + good});
    cases.push_back({"LongNumber", value, "", asText, "a = " + repeated("9", 100000) + ";" + good});
    cases.push_back(
        {"LongElement", value, "", asText, "a = (" + repeated("1,", 100000) + "1);" + good});
}

void addSelection(Cases& cases)
{
    cases.push_back({"PatternOfStars", value, "", asText, withPattern(repeated("*", 10000))});
    cases.push_back(
        {"PatternOfStarsAndLetters", noValue, "", asText, withPattern(repeated("*a", 2000))});
    cases.push_back(
        {"PatternOfOpenBrackets", noValue, "", asText, withPattern(repeated("[", 10000))});
    cases.push_back(
        {"PatternOfBackslashes", noValue, "", asText, withPattern(repeated("\\\\", 999))});
    cases.push_back({"PatternOfControls", noValue, "", asText, withPattern("\\x1B[2J\\x07\n\t")});
    cases.push_back({"PatternThatIsNoText", noValue, "", asText, withPattern("\xFF\xC0\x80")});
    cases.push_back({"PatternWithNullCharacter", noValue, "", asText, withPattern("a\\x00b")});
    for (const auto& [name, path] : {std::array{"Absent"s, "absent.db"s},
                                     {"Directory", "."},
                                     {"Zero", "/dev/zero"},
                                     {"Null", "/dev/null"},
                                     {"Nothing", ""},
                                     {"Itself", config},
                                     {"LongPath", repeated("x/", 3000)},
                                     {"Controls", "\\x1B[31m\n.db"}})
        cases.push_back({"Selected" + name, unusable, "cannot be used", selected, path});
    for (const char* const kind : {"pipe", "socket"})
        cases.push_back({"Selected_"s + kind, unusable, "cannot be used", selectedSpecial, kind});
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const HostileConfiguration& configuration)
{
    return stream << configuration.name;
}

const std::vector<HostileConfiguration>& hostileConfigurations()
{
    static const Cases all = [] {
        Cases cases;
        addInPlaceOfTheFile(cases);
        addIncluded(cases);
        addSyntax(cases);
        addMeaning(cases);
        addSizes(cases);
        addSelection(cases);
        return cases;
    }();
    return all;
}

} // namespace Varnix::Test
