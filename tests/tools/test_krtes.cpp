// The krtes program's command line: dispatch, help, version, the error style
// and argument order.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/KrtesCliRun.h"

using namespace krtes_test;

namespace {

// The version the project declares, read from its top CMakeLists.txt.
std::string ProjectVersion()
{
    const std::string top = Read(std::string(KRTES_DATA_DIR) + "/../CMakeLists.txt");
    std::smatch m;
    if (!std::regex_search(top, m, std::regex(R"(project\s*\(\s*KrTesGeometry\s+VERSION\s+([0-9.]+))")))
        return "";
    return m[1];
}

}  // namespace

TEST(Krtes, UnknownOrMissingCommandFailsAndHelpListsTheCommands)
{
    for (const char* args : {"frobnicate", "", "--frobnicate"}) {
        const CliStreams r = KrtesStreams(args);
        EXPECT_EQ(r.code, 2) << args;
        EXPECT_EQ(r.out, "") << args;
        EXPECT_TRUE(r.err.rfind("krtes: ", 0) == 0 && r.err.find('\n') == r.err.size() - 1) << args << "\n" << r.err;
    }
    const CliRun help = Krtes("--help");
    EXPECT_EQ(help.code, 0);
    for (const char* name : {"tin ", "elev ", "drape ", "fit ", "collide ", "boolean ", "--version"})
        EXPECT_NE(help.out.find(name), std::string::npos) << name << "\n" << help.out;
}

TEST(Krtes, EveryCommandHasHelpWithItsOptionsAndExamples)
{
    const std::vector<std::vector<std::string>> commands = {
        {"tin", "POINTS", "--breaklines", "--outline", "--holes", "--split-crossings", "-o,--output"},
        {"elev", "SURFACE", "POINTS", "--step", "-o,--output"},
        {"drape", "SURFACE", "LINES", "-o,--output"},
        {"fit", "REFERENCE", "POINTS_TO_FIT", "--points", "--lines", "--boundary", "--diff", "--type", "-o,--output"},
        {"collide", "A", "B"},
        {"boolean", "A", "B", "--op", "-o,--output", "--diagnostics", "--keep-broken"},
    };
    for (const auto& c : commands) {
        for (const char* flag : {" --help", " -h"}) {
            const CliStreams r = KrtesStreams(c[0] + flag);
            EXPECT_EQ(r.code, 0) << c[0] << flag;
            EXPECT_EQ(r.err, "") << c[0] << flag;
            EXPECT_NE(r.out.find("Usage: krtes " + c[0]), std::string::npos) << r.out;
            EXPECT_NE(r.out.find("Examples:\n  krtes " + c[0] + " "), std::string::npos) << r.out;
            EXPECT_NE(r.out.find("--json"), std::string::npos) << r.out;
            for (std::size_t k = 1; k < c.size(); ++k)
                EXPECT_NE(r.out.find("  " + c[k] + " "), std::string::npos) << c[0] << ": " << c[k] << "\n" << r.out;
        }
    }
    // Help wins over anything else on the line, even what would be an error.
    EXPECT_EQ(Krtes("boolean --op xor --help").code, 0);
}

TEST(Krtes, VersionIsTheProjects)
{
    const std::string version = ProjectVersion();
    ASSERT_FALSE(version.empty());
    const CliStreams r = KrtesStreams("--version");
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out, "krtes " + version + " (KrTesGeometry)\n");
    EXPECT_EQ(r.err, "");
}

// Usage errors exit 2 with one line "krtes: <command>: <message>" on
// standard error and nothing on standard output; data errors the same way
// with exit 1.
TEST(Krtes, ErrorsFollowOneStyle)
{
    const std::string surface = HoledPlaneFile();
    const std::string lines = Write("lines.txt", "1 1 0\n3 3 0\n");
    struct Case {
        std::string args;
        int code;
        std::string message;  // after "krtes: <command>: "
    };
    const Case cases[] = {
        {"tin --frobnicate", 2, "unknown option '--frobnicate'"},
        {"tin --outline", 2, "--outline needs a value"},
        {"tin -o out.dxf", 2, "unknown output format 'out.dxf'"},
        {"elev " + surface + " --step 1x", 2, "--step needs a positive number, got '1x'"},
        {"elev " + surface + " --step", 2, "--step needs a value"},
        {"elev " + surface + " --json", 2, "--json needs -o OUT"},
        {"elev", 2, "SURFACE is required"},
        {"drape " + surface + " " + lines + " --json", 2, "--json needs -o OUT"},
        {"fit " + surface + " " + lines + " --points " + lines + " --type 3", 2, "--type must be 0, 1 or 2, got '3'"},
        {"fit " + surface + " " + lines + " --json", 2, "no data given"},
        {"collide " + surface, 2, "B is required"},
        {"collide " + surface + " " + surface + " " + surface, 2, "too many arguments"},
        {"boolean a.obj b.obj --op xor -o c.obj", 2, "--op must be union, intersection, a-minus-b or b-minus-a"},
        {"boolean a.obj b.obj --op union", 2, "--output is required"},
        {"tin " + Temp("missing.xyz"), 1, "cannot open file"},
        {"elev " + surface + " " + Write("bad.txt", "1 2\n3\n") + " -o " + Temp("e.txt"), 1, "bad.txt:2:"},
    };
    for (const Case& c : cases) {
        const CliStreams r = KrtesStreams(c.args);
        const std::string prefix = "krtes: " + c.args.substr(0, c.args.find(' ')) + ": ";
        EXPECT_EQ(r.code, c.code) << c.args << "\n" << r.err;
        EXPECT_EQ(r.err.rfind(prefix, 0), 0u) << c.args << "\n" << r.err;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << c.args << "\n" << r.err;
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << c.args << "\n" << r.err;  // one line
        EXPECT_EQ(r.out, "") << c.args;
    }
}

// Options may come before, between or after the positional arguments: the
// same result whatever the order.
TEST(Krtes, OptionsInAnyOrder)
{
    const std::string surface = HoledPlaneFile();
    const std::string a = Temp("a.txt"), b = Temp("b.txt"), c = Temp("c.txt");
    ASSERT_EQ(Krtes("elev " + surface + " --step 0.5 -o " + a).code, 0);
    ASSERT_EQ(Krtes("elev --step 0.5 -o " + b + " " + surface).code, 0);
    ASSERT_EQ(Krtes("elev -o " + c + " " + surface + " --step=0.5").code, 0);
    EXPECT_EQ(Read(a), Read(b));
    EXPECT_EQ(Read(a), Read(c));
    EXPECT_NE(Read(a).find("\n0.5 0 11\n"), std::string::npos);  // z = 2x - y/2 + 10

    const std::string pts = Write("p.xyz", "0 0 0\n10 0 1\n0 10 2\n10 10 3\n5 5 9\n");
    const std::string t1 = Temp("t1.obj"), t2 = Temp("t2.obj");
    ASSERT_EQ(Krtes("tin " + pts + " -o " + t1).code, 0);
    ASSERT_EQ(Krtes("tin -o " + t2 + " " + pts).code, 0);
    EXPECT_EQ(Read(t1), Read(t2));
    EXPECT_NE(Read(t1).find("v 5 5 9"), std::string::npos) << Read(t1);
}
