// The krtes program's command line, every command alike: help, the error
// style, the --json report against the text one, the same bytes on every run,
// argument order and the progress line on a terminal.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <random>
#include <regex>
#include <sstream>
#include <thread>

#include "tools/KrtesToolTest.h"

using namespace krtes_test;
namespace fs = std::filesystem;

namespace {

// A run in a new working directory of its own (relative output names land
// there and nothing else does): its two streams apart, and every file it left.
struct DirRun {
    int code;
    std::string out, err;
    std::map<std::string, std::string> files;
};

DirRun RunIn(const std::string& dir, const std::string& args)
{
    fs::create_directories(dir);
    const CliRun r = Shell("cd '" + dir + "' && " + KRTES_TOOL + " " + args + " 2>'" + dir + ".err'");
    DirRun d{r.code, r.out, Read(dir + ".err"), {}};
    for (const auto& e : fs::recursive_directory_iterator(dir))
        if (e.is_regular_file()) d.files[fs::relative(e.path(), dir).string()] = Read(e.path().string());
    return d;
}

// A report without the lines giving the time taken, the run's own directory
// named alike.
std::string WithoutTime(std::string out, const std::string& dir)
{
    for (std::size_t at; (at = out.find(dir)) != std::string::npos;) out.replace(at, dir.size(), "<dir>");
    static const std::regex seconds("[0-9]\\.[0-9]+ s( \\(|$)");
    std::istringstream in(out);
    std::string line, kept;
    while (std::getline(in, line))
        if (line.rfind("time ", 0) != 0 && !std::regex_search(line, seconds)) kept += line + "\n";
    return kept;
}

// The k-th number on the text report line that starts with label.
double NumberOnLine(const std::string& text, const std::string& label, int k)
{
    const std::size_t at = ("\n" + text).find("\n" + label);
    if (at == std::string::npos) return std::nan("");
    const std::string line = text.substr(at + label.size(), text.find('\n', at) - at - label.size());
    static const std::regex number("(^|[^.\\w])(-?[0-9]*\\.?[0-9]+(e[-+][0-9]+)?)");
    for (std::sregex_iterator m(line.begin(), line.end(), number), end; m != end; ++m)
        if (k-- == 0) return std::stod((*m)[2]);
    return std::nan("");
}

struct Number {
    std::string label;  // the text report line
    int k;              // which number on it
    std::string field;  // the JSON field holding the same number
};

struct Command {
    std::string name;
    std::vector<std::string> help;                             // options its --help lists
    std::vector<std::string> runs;                             // runs that succeed; the first also with --json
    std::vector<Number> numbers;                               // of the first run
    std::vector<std::pair<std::string, std::string>> usage;    // arguments, message: exit 2
    std::string dataError;                                     // arguments reading a bad file: exit 1
};

double Wavy(double x, double y) { return 50.0 + 3.0 * std::sin(x / 3.0) * std::cos(y / 4.0) + 0.1 * x; }

// Every command with its inputs, written to the running test's scratch directory.
std::vector<Command> Commands()
{
    // Scattered survey points with near-duplicates and a straight scan line.
    std::mt19937_64 rng(3);
    std::uniform_real_distribution<double> u(0.0, 30.0), d(-0.004, 0.004);
    std::ostringstream pts;
    pts.precision(17);
    for (int i = 0; i < 4000; ++i) {
        const double x = u(rng), y = u(rng);
        pts << x << ' ' << y << ' ' << Wavy(x, y) << '\n';
        if (i % 3 == 0) pts << x + d(rng) << ' ' << y + d(rng) << ' ' << Wavy(x, y) + 0.01 << '\n';
    }
    for (int i = 0; i <= 200; ++i) pts << 0.1 + i * 0.145 << " 15 " << Wavy(0.1 + i * 0.145, 15) << '\n';
    const std::string points = Write("points.xyz", pts.str());
    const std::string outline = Write("outline.txt", "1000 1000 0\n29000 1000 0\n29000 30000 0\n1000 30000 0\n");
    const std::string holes = Write("holes.txt", "10000 10000 0\n12000 10000 0\n12000 12000 0\n10000 12000 0\n");
    const std::string brk = Write("brk.txt", "2000 2000 500\n20000 25000 700\n");
    const std::string s = GridFile("surf.ply", 30, 0, 1, Wavy);
    const std::string where = Write("where.xyz", "0.5 0.5 0\n12.25 7.75 0\n29.9 29.9 0\n40 40 0\n3 27 0\n");
    const std::string lines = Write("lines.txt", "0.5 0.5 0\n29 21 0\n\n1 28 0\n28 1 0\n15 15 0\n1 28 0\n\n40 1 0\n45 1 0\n");
    const std::string data = Write("data.xyz", "5 5 52\n25 5 53\n25 25 51\n5 25 50\n15 15 52.5\n");
    const std::string a = SolidFile("a.obj", testmesh::Sphere({0, 0, 0}, 1000.0, 3));
    const std::string b = SolidFile("b.ply", testmesh::Sphere({600, 250, 150}, 800.0, 3));
    const std::string c = SolidFile("c.obj", testmesh::Sphere({2500, 300, 200}, 400.0, 3));
    const std::string bad = Write("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 4\n");

    const std::string o = " -o ";  // a relative name: the file lands in the run's directory
    std::vector<Command> all = {
        {"tin", {"POINTS", "--breaklines", "--outline", "--holes", "--split-crossings", "-o,--output"},
         {"tin " + points + o + "points.ply",
          "tin --outline " + outline + " --holes " + holes + " --breaklines " + brk + o + "s.obj"},
         {{"points read   ", 1, "/points_distinct"}, {"triangles     ", 0, "/triangles"}, {"extent        x ", 1, "/extent/max/0"}},
         {{"tin --frobnicate", "unknown option '--frobnicate'"}, {"tin --outline", "--outline needs a value (FILE)"},
          {"tin -o out.dxf", "unknown output format 'out.dxf'"}},
         "tin " + Write("bad.xyz", "1 2 3\n4 5\n") + o + "t.obj"},
        {"elev", {"SURFACE", "POINTS", "--step", "-o,--output"},
         {"elev " + s + " " + where + o + "elev.xyz", "elev " + s + " --step 0.7"},
         {{"points        ", 0, "/points"}, {"on surface    ", 0, "/on_surface"}, {"off surface   ", 0, "/off_surface"}},
         {{"elev " + s + " --step 1x", "--step needs a positive number, got '1x'"}, {"elev", "SURFACE is required"},
          {"elev " + s + " --json", "--json needs -o OUT"}, {"elev " + s + " " + where + " --step 1", "only without"}},
         "elev " + bad + o + "e.txt"},
        {"drape", {"SURFACE", "LINES", "-o,--output"}, {"drape " + s + " " + lines + o + "drape.txt"},
         {{"pieces        ", 0, "/pieces"}, {"pieces        ", 1, "/vertices"}, {"off surface   ", 0, "/off_surface_lines"}},
         {{"drape " + s + " " + lines + " --json", "--json needs -o OUT"}, {"drape " + s, "LINES is required"}},
         "drape " + bad + " " + lines + o + "d.txt"},
        {"fit", {"REFERENCE", "POINTS_TO_FIT", "--points", "--lines", "--boundary", "--diff", "--type", "-o,--output"},
         {"fit " + s + " --points " + data + " " + where + o + "fit.xyz"},
         {{"points        ", 0, "/points"}, {"fitted        ", 0, "/fitted"}, {"not fitted    ", 0, "/not_fitted"}},
         {{"fit " + s + " " + where + " --points " + data + " --type 3", "--type must be 0, 1 or 2, got '3'"},
          {"fit " + s + " " + where, "no data given"}},
         "fit " + bad + " --points " + data + " " + where + o + "f.xyz"},
        {"collide", {"A", "B", "--pairwise"},
         {"collide " + a + " " + c, "collide " + a + " " + b, "collide " + a + " " + c + " --pairwise"},
         {{"distance      ", 0, "/distance"}, {"closest A     ", 3, "/closest_pair/triangle_a"},
          {"closest B     ", 1, "/closest_points/b/1"}},
         {{"collide " + a, "B is required"}, {"collide " + a + " " + a + " " + a, "too many arguments"}},
         "collide " + a + " " + bad},
        {"boolean", {"A", "B", "--op", "-o,--output", "--diagnostics", "--keep-broken"},
         {"boolean " + a + " " + b + " --op union" + o + "union.ply --diagnostics diag",
          "boolean " + a + " " + b + " --op a-minus-b" + o + "d.obj"},
         {{"solid B       ", 3, "/b/inside"}, {"result        ", 1, "/result/triangles"}, {"result        ", 2, "/result/volume"}},
         {{"boolean a.obj b.obj --op xor -o c.obj", "--op must be union, intersection, a-minus-b or b-minus-a"},
          {"boolean a.obj b.obj --op union", "--output is required"}},
         "boolean " + a + " " + bad + " --op union" + o + "u.obj"},
        {"volume", {"EXISTING", "DESIGN", "--boundary", "--level", "--zero-line", "--map"}, {"volume " + s + " --level 51"},
         {{"cut           ", 1, "/cut_area"}, {"fill          ", 0, "/fill"}, {"net           ", 0, "/net"}},
         {{"volume " + s, "DESIGN or --level is required"}, {"volume " + s + " " + s + " --level 3", "not both"}},
         "volume " + bad + " --level 3"},
        {"contour", {"SURFACE", "--interval", "--base", "--index", "-o,--output"},
         {"contour " + s + " --interval 0.5 --index 4" + o + "contours.txt"},
         {{"levels        ", 0, "/levels"}, {"lines         ", 1, "/closed_lines"}, {"lines         ", 2, "/index_lines"}},
         {{"contour " + s + o + "c.txt", "--interval is required"},
          {"contour " + s + " --interval 1 --index -1" + o + "c.txt", "--index must be 0 (none) or a positive count"}},
         "contour " + bad + " --interval 1" + o + "c.txt"},
#ifdef KRTES_HAVE_GDAL
        {"render", {"SURFACE", "--contours", "--size", "-o,--output"}, {"render " + s + " --contours 1 --size 200 -o v.png"},
         {{"picture       ", 3, "/map_rows"}, {"contours      ", 1, "/contour_lines"}, {"scale bar     ", 0, "/scale_bar/length"}},
         {{"render " + s + " -o v.jpg", "unknown output format 'v.jpg'"}, {"render " + s + " --size 4 -o v.png", "--size"}},
         "render " + bad + " -o v.png"},
        {"grid", {"SURFACE", "--cell", "--extent", "--crs", "-o,--output"}, {"grid " + s + " --cell 0.5 -o dem.tif"},
         {{"grid          ", 0, "/columns"}, {"on surface    ", 0, "/on_surface"}, {"on surface    ", 1, "/nodata"}},
         {{"grid " + s + " -o d.tif", "--cell is required"}, {"grid " + s + " --cell 1 -o d.png", "unknown output format"},
          {"grid " + s + " --cell 1 --extent 5 0 1 1 -o d.tif", "--extent needs xmin ymin xmax ymax"}},
         "grid " + bad + " --cell 1 -o d.tif"},
#endif
    };
    return all;
}

// An error: exit code, one line "krtes: [<command>: ]<message>" on standard
// error, nothing on standard output and no file written.
void ExpectError(const DirRun& r, int code, const std::string& prefix, const std::string& message)
{
    EXPECT_EQ(r.code, code) << r.err;
    EXPECT_EQ(r.err.rfind(prefix, 0), 0u) << r.err;
    EXPECT_NE(r.err.find(message), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_TRUE(r.files.empty());
}

}  // namespace

TEST(Krtes, ProgramHelpVersionAndUnknownCommands)
{
    const CliRun help = KrtesStreams("--help");
    EXPECT_EQ(help.code, 0);
    for (const char* name : {"tin ", "elev ", "drape ", "fit ", "collide ", "boolean ", "volume ", "contour ", "--version"})
        EXPECT_NE(help.out.find(name), std::string::npos) << name << "\n" << help.out;
    // The version the project declares in its top CMakeLists.txt.
    const std::string top = Read(std::string(KRTES_DATA_DIR) + "/../CMakeLists.txt");
    std::smatch version;
    ASSERT_TRUE(std::regex_search(top, version, std::regex(R"(project\s*\(\s*KrTesGeometry\s+VERSION\s+([0-9.]+))")));
    const CliRun v = KrtesStreams("--version");
    EXPECT_EQ(v.code, 0);
    EXPECT_EQ(v.out, "krtes " + version[1].str() + " (KrTesGeometry)\n");
    EXPECT_EQ(v.err, "");
    int run = 0;
    for (const auto& [args, message] : {std::pair<const char*, const char*>{"frobnicate", "unknown command 'frobnicate'"},
                                        {"", "no command given"},
                                        {"--frobnicate", "unknown option '--frobnicate'"}})
        ExpectError(RunIn(Temp("u" + std::to_string(run++)), args), 2, "krtes: ", message);
    // Help wins over anything else on the line, even what would be an error.
    EXPECT_EQ(Krtes("boolean --op xor --help").code, 0);
    const auto asValue = Krtes("tin --outline --help");
    EXPECT_EQ(asValue.code, 0);
    EXPECT_NE(asValue.out.find("--outline FILE"), std::string::npos);
}

TEST(Krtes, EveryCommandHelpAndErrors)
{
    int run = 0;
    for (const Command& c : Commands()) {
        SCOPED_TRACE(c.name);
        for (const char* flag : {" --help", " -h"}) {
            const CliRun r = KrtesStreams(c.name + flag);
            EXPECT_EQ(r.code, 0);
            EXPECT_EQ(r.err, "");
            EXPECT_NE(r.out.find("Usage: krtes " + c.name), std::string::npos) << r.out;
            EXPECT_NE(r.out.find("Examples:\n  krtes " + c.name + " "), std::string::npos) << r.out;
            EXPECT_NE(r.out.find("  --json "), std::string::npos) << r.out;
            for (const std::string& o : c.help) EXPECT_NE(r.out.find("  " + o + " "), std::string::npos) << o;
        }
        for (const auto& [args, message] : c.usage)
            ExpectError(RunIn(Temp("e" + std::to_string(run++)), args), 2, "krtes: " + c.name + ": ", message);
        SCOPED_TRACE(c.dataError);
        const DirRun bad = RunIn(Temp("e" + std::to_string(run++)), c.dataError);
        ExpectError(bad, 1, "krtes: " + c.name + ": ", c.name == "tin" ? "bad.xyz:2:" : "bad.obj:4: face index 4");
        // With --json: one object with the error, on standard output.
        const DirRun j = RunIn(Temp("e" + std::to_string(run++)), c.dataError + " --json");
        const json doc = json::parse(j.out, nullptr, false);
        EXPECT_EQ(j.code, 1);
        EXPECT_EQ(doc.value("ok", true), false) << j.out;
        EXPECT_EQ("krtes: " + c.name + ": " + doc.value("error", "") + "\n", bad.err);
    }
}

// Each run twice, in two processes, gives the same bytes: every file it
// leaves and both streams but for the time taken. The first run with --json
// prints one object carrying the text report's numbers and writes the same files.
TEST(Krtes, EveryCommandRepeatsAndItsJsonMatchesTheText)
{
    int run = 0;
    for (const Command& c : Commands()) {
        for (const std::string& args : c.runs) {
            SCOPED_TRACE(args);
            const std::string tag = Temp("run" + std::to_string(run++));
            const DirRun first = RunIn(tag + "a", args), second = RunIn(tag + "b", args);
            ASSERT_EQ(first.code, 0) << first.err;
            ASSERT_EQ(second.code, 0) << second.err;
            EXPECT_EQ(WithoutTime(first.out, tag + "a"), WithoutTime(second.out, tag + "b"));
            EXPECT_EQ(WithoutTime(first.err, tag + "a"), WithoutTime(second.err, tag + "b"));
            EXPECT_TRUE(first.files == second.files);
            EXPECT_EQ(first.files.empty(), args.find(" -o ") == std::string::npos);
            if (args != c.runs[0]) continue;

            const DirRun j = RunIn(tag + "j", args + " --json");
            ASSERT_EQ(j.code, 0) << j.err;
            EXPECT_EQ(j.err, "");
            EXPECT_TRUE(j.files == first.files);
            const json doc = json::parse(j.out, nullptr, false);
            ASSERT_TRUE(doc.is_object()) << j.out;
            EXPECT_EQ(doc.value("command", ""), c.name);
            EXPECT_EQ(doc.value("ok", false), true);
            EXPECT_TRUE(doc["warnings"].is_array());
            for (const Number& n : c.numbers) {
                const double text = NumberOnLine(first.out, n.label, n.k);
                const json& field = doc[json::json_pointer(n.field)];
                ASSERT_TRUE(field.is_number()) << n.field << "\n" << j.out;
                EXPECT_NEAR(text, field.get<double>(), 1e-3 + 1e-5 * std::fabs(field.get<double>()))
                    << n.label << "#" << n.k << " vs " << n.field << "\n" << first.out;
            }
        }
    }
}

// Options may come before, between or after the positional arguments: the
// same result whatever the order.
TEST(Krtes, OptionsInAnyOrder)
{
    const std::string surface = HoledPlaneFile();
    const std::string grid = Krtes("elev " + surface + " --step 0.5", false).out;
    EXPECT_EQ(Krtes("elev --step 0.5 " + surface, false).out, grid);
    EXPECT_EQ(Krtes("elev --step=0.5 " + surface, false).out, grid);
    EXPECT_NE(grid.find("\n0.5 0 11\n"), std::string::npos);  // z = 2x - y/2 + 10
}

// Progress goes to standard error only when it is a terminal (a
// pseudo-terminal here), as one line rewritten in place and erased at the
// end; never with --json.
TEST(Krtes, ProgressOnlyOnATerminal)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_TRUE(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
    const std::string slave = ptsname(master);
    const int keep = open(slave.c_str(), O_RDWR | O_NOCTTY);  // the terminal stays up between runs
    ASSERT_GE(keep, 0);
    fcntl(master, F_SETFL, O_NONBLOCK);
    // Reads the terminal while a run goes on, so that a full buffer never stops the program.
    auto onTerminal = [&](const std::string& args, CliRun& run) {
        std::string seen;
        std::atomic<bool> done{false};
        std::thread reader([&] {
            char buf[4096];
            for (bool last = false; !last;) {
                pollfd p{master, POLLIN, 0};
                last = done.load();
                poll(&p, 1, 20);
                for (ssize_t n; (n = read(master, buf, sizeof buf)) > 0;) seen.append(buf, static_cast<std::size_t>(n));
            }
        });
        run = Shell(std::string(KRTES_TOOL) + " " + args + " 2>" + slave);
        done = true;
        reader.join();
        return seen;
    };

    const std::string pts = std::string(KRTES_DATA_DIR) + "/jacksboro_scattered.xyz";
    CliRun run;
    const std::string shown = onTerminal("tin " + pts + " -o " + Temp("t.obj"), run);
    ASSERT_EQ(run.code, 0);
    EXPECT_NE(shown.find("reading " + pts + " ..."), std::string::npos) << shown;
    EXPECT_NE(shown.find("triangulating"), std::string::npos) << shown;
    EXPECT_NE(shown.find("writing " + Temp("t.obj")), std::string::npos) << shown;
    EXPECT_EQ(shown.find('\n'), std::string::npos) << shown;  // one line, rewritten
    EXPECT_EQ(shown.empty() ? '\0' : shown.back(), '\r');  // erased: blanks, then back to the start
    EXPECT_NE(run.out.find("triangles     "), std::string::npos) << run.out;
    EXPECT_EQ(onTerminal("tin " + pts + " -o " + Temp("t2.obj") + " --json", run), "");
    close(keep);
    close(master);
}
