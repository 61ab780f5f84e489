// The krtes program's --json reports, checked against the files the commands
// write and the text reports, and its progress line on a terminal.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "KrTesGeometry/io/KrTesIO.h"
#include "support/KrTestMeshes.h"
#include "support/KrtesCliRun.h"

using namespace krtes_test;
using nlohmann::json;

namespace {

// Runs a command with --json: standard output must be one JSON object and
// nothing else.
json RunJson(const std::string& args, int expectCode = 0)
{
    const CliStreams r = KrtesStreams(args + " --json");
    EXPECT_EQ(r.code, expectCode) << args << "\n" << r.err;
    const json j = json::parse(r.out, nullptr, false);
    EXPECT_TRUE(j.is_object()) << args << "\n" << r.out;
    return j.is_object() ? j : json::object();
}

// n scattered points in [0, 100]^2, the same every run, written exactly.
std::string ScatteredPoints(const std::string& name, int n, std::vector<CKrPoint3d>& pts)
{
    unsigned s = 12345;
    auto next = [&s] {
        s = s * 1103515245u + 12345u;
        return (s >> 8) % 100000 / 1000.0;
    };
    std::ostringstream text;
    text.precision(17);
    for (int i = 0; i < n; ++i) {
        const double x = next(), y = next(), z = 50 + next() / 10;
        pts.emplace_back(x, y, z);
        text << x << ' ' << y << ' ' << z << '\n';
    }
    return Write(name, text.str());
}

// The value on the text report line that starts with label.
std::size_t ReportCount(const std::string& report, const std::string& label)
{
    const std::size_t at = report.find("\n" + label);
    return at == std::string::npos ? 0 : std::strtoul(report.c_str() + at + 1 + label.size(), nullptr, 10);
}

}  // namespace

TEST(KrtesJson, TinMatchesItsFileAndTextReport)
{
    std::vector<CKrPoint3d> in;
    const std::string pts = ScatteredPoints("pts.xyz", 400, in), out = Temp("tin.ply");
    const json j = RunJson("tin " + pts + " -o " + out);
    EXPECT_EQ(j.value("command", ""), "tin");
    EXPECT_EQ(j.value("ok", false), true);
    EXPECT_EQ(j.value("output", ""), out);
    EXPECT_EQ(j.value("points_read", 0u), in.size());
    EXPECT_TRUE(j["warnings"].is_array() && j["warnings"].empty());

    std::vector<CKrPoint3d> v;
    std::vector<KrTesGeo::_sTri_ID> f;
    std::string err;
    ASSERT_TRUE(krtes::ReadMeshFile(out, v, f, err)) << err;
    EXPECT_EQ(j.value("vertices", 0u), v.size());
    EXPECT_EQ(j.value("triangles", 0u), f.size());
    EXPECT_GT(f.size(), in.size());
    // The whole hull is covered: the extent is the points'.
    for (int k = 0; k < 3; ++k) {
        auto coord = [k](const CKrPoint3d& p) { return k == 0 ? p.x : k == 1 ? p.y : p.z; };
        const auto [lo, hi] = std::minmax_element(in.begin(), in.end(), [&](const CKrPoint3d& a, const CKrPoint3d& b) {
            return coord(a) < coord(b);
        });
        EXPECT_EQ(j["extent"]["min"][k].get<double>(), coord(*lo)) << k;
        EXPECT_EQ(j["extent"]["max"][k].get<double>(), coord(*hi)) << k;
    }
    const json& t = j["time"];
    EXPECT_GE(t.value("total", -1.0), t.value("read", -1.0) + t.value("triangulate", -1.0) - 1e-9);

    // The text report of the same run gives the same counts.
    const CliRun text = Krtes("tin " + pts + " -o " + Temp("tin2.ply"));
    ASSERT_EQ(text.code, 0) << text.out;
    EXPECT_EQ(ReportCount(text.out, "triangles     "), f.size());
    EXPECT_EQ(ReportCount(text.out, "vertices      "), v.size());
    EXPECT_EQ(Read(out), Read(Temp("tin2.ply")));

    // A data error still gives one object, with the error.
    const json bad = RunJson("tin " + Temp("missing.xyz"), 1);
    EXPECT_EQ(bad.value("ok", true), false);
    EXPECT_NE(bad.value("error", "").find("missing.xyz"), std::string::npos) << bad.dump();
}

TEST(KrtesJson, ElevCountsTheLinesItWrites)
{
    const std::string out = Temp("elev.txt");
    const json j = RunJson("elev " + HoledPlaneFile() + " --step 0.5 -o " + out);
    EXPECT_EQ(j.value("ok", false), true);
    EXPECT_EQ(j["grid"].value("step", 0.0), 0.5);
    EXPECT_EQ(j["grid"]["extent"]["max"], json::array({10.0, 10.0}));
    std::istringstream text(Read(out));
    std::size_t data = 0, off = 0;
    for (std::string line; std::getline(text, line);) {
        data += !line.empty() && line[0] != '#';
        off += line.rfind("# off surface: ", 0) == 0;
    }
    EXPECT_EQ(j.value("points", 0u), 21u * 21u);  // the grid over [0, 10]^2
    EXPECT_EQ(j.value("on_surface", 0u), data);
    EXPECT_EQ(j.value("off_surface", 0u), off);
    EXPECT_EQ(off, 9u);  // strictly inside the hole [4, 6]^2
    EXPECT_EQ(j.value("output", ""), out);
}

TEST(KrtesJson, BooleanVolumesMatchTheResultFile)
{
    const std::string a = Temp("a.obj"), b = Temp("b.obj"), out = Temp("u.obj");
    std::string err;
    for (const auto& [path, box] : {std::make_pair(a, testmesh::Box(0, 0, 0, 10, 10, 10)),
                                    std::make_pair(b, testmesh::Box(5, 5, 5, 15, 15, 15))})
        ASSERT_TRUE(krtes::WriteMeshFile(path, box.pts, box.ids, err)) << err;
    const json j = RunJson("boolean " + a + " " + b + " --op union -o " + out);
    EXPECT_EQ(j.value("ok", false), true);
    EXPECT_EQ(j.value("op", ""), "union");
    EXPECT_TRUE(j["errors"].empty()) << j.dump();
    EXPECT_EQ(j["a"].value("triangles", 0), 12);
    EXPECT_NEAR(j["a"].value("volume", 0.0), 1000.0, 1e-9);
    EXPECT_NEAR(j["b"].value("volume", 0.0), 1000.0, 1e-9);
    // Every triangle of A after the cut is sorted one way or another.
    const json& ja = j["a"];
    EXPECT_EQ(ja.value("outside", 0) + ja.value("inside", 0) + ja.value("same", 0) + ja.value("opposite", 0),
              ja.value("triangles_cut", -1));

    testmesh::Pts pts;
    testmesh::Ids ids;
    ASSERT_TRUE(krtes::ReadMeshFile(out, pts, ids, err)) << err;
    EXPECT_EQ(j["result"].value("triangles", 0u), ids.size());
    EXPECT_NEAR(j["result"].value("volume", 0.0), testmesh::Volume(pts, ids), 1e-9);
    EXPECT_NEAR(j["result"].value("volume", 0.0), 1875.0, 1e-9);  // 2 x 1000 less the 5^3 shared
    EXPECT_EQ(j.value("output", ""), out);
}

// Progress goes to standard error only when it is a terminal (a
// pseudo-terminal here), as one line rewritten in place and erased at the
// end; never with --json.
TEST(KrtesJson, ProgressOnlyOnATerminal)
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(grantpt(master), 0);
    ASSERT_EQ(unlockpt(master), 0);
    const std::string slave = ptsname(master);
    const int keep = open(slave.c_str(), O_RDWR | O_NOCTTY);  // the terminal stays up between runs
    ASSERT_GE(keep, 0);
    fcntl(master, F_SETFL, O_NONBLOCK);

    // Reads the terminal while a run goes on, so that a full buffer never
    // stops the program.
    auto onTerminal = [&](const std::string& args, CliRun& run) {
        std::string seen;
        std::atomic<bool> done{false};
        std::thread reader([&] {
            char buf[4096];
            for (;;) {
                pollfd p{master, POLLIN, 0};
                const bool last = done.load();
                poll(&p, 1, 20);
                ssize_t n;
                while ((n = read(master, buf, sizeof buf)) > 0) seen.append(buf, static_cast<std::size_t>(n));
                if (last) break;
            }
        });
        run = Shell(std::string(KRTES_TOOL) + " " + args + " 2>" + slave);
        done = true;
        reader.join();
        return seen;
    };

    std::vector<CKrPoint3d> in;
    const std::string pts = ScatteredPoints("pts.xyz", 3000, in);
    CliRun run;
    const std::string shown = onTerminal("tin " + pts + " -o " + Temp("t.obj"), run);
    EXPECT_EQ(run.code, 0);
    EXPECT_NE(shown.find("reading " + pts + " ..."), std::string::npos) << shown;
    EXPECT_NE(shown.find("triangulating"), std::string::npos) << shown;
    EXPECT_NE(shown.find("writing " + Temp("t.obj")), std::string::npos) << shown;
    EXPECT_EQ(shown.find('\n'), std::string::npos) << shown;  // one line, rewritten
    ASSERT_FALSE(shown.empty());
    EXPECT_EQ(shown.back(), '\r');  // erased: blanks, then back to the start
    const std::string text = run.out;
    EXPECT_NE(text.find("triangles     "), std::string::npos) << text;

    EXPECT_EQ(onTerminal("tin " + pts + " -o " + Temp("t2.obj") + " --json", run), "");
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(json::parse(run.out, nullptr, false).value("vertices", 0u), ReportCount(text, "vertices      "));
    close(keep);
    close(master);
}
