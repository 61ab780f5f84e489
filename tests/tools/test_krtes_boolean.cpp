// The krtes boolean command.
#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "KrtesCliRun.h"

namespace {

using krtes_test::CliRun;
using krtes_test::Krtes;

// A box as OBJ text, outward-facing (or inward when flip is set).
std::string BoxObj(double x0, double y0, double z0, double s, bool flip = false)
{
    std::ostringstream o;
    for (int i = 0; i < 8; ++i)
        o << "v " << (i & 1 ? x0 + s : x0) << ' ' << (i & 2 ? y0 + s : y0) << ' ' << (i & 4 ? z0 + s : z0) << '\n';
    const int f[6][4] = {{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for (const auto& q : f) {
        const int t[2][3] = {{q[0], q[1], q[2]}, {q[0], q[2], q[3]}};
        for (const auto& tr : t) o << "f " << tr[0] + 1 << ' ' << tr[flip ? 2 : 1] + 1 << ' ' << tr[flip ? 1 : 2] + 1 << '\n';
    }
    return o.str();
}

struct Obj {
    std::vector<std::array<double, 3>> v;
    std::vector<std::array<int, 3>> f;
};

Obj ReadObj(const std::string& path)
{
    Obj m;
    std::istringstream in(krtes_test::Read(path));
    for (std::string l; std::getline(in, l);) {
        std::istringstream s(l.size() > 2 ? l.substr(2) : "");
        if (l.rfind("v ", 0) == 0) {
            std::array<double, 3> p;
            s >> p[0] >> p[1] >> p[2];
            m.v.push_back(p);
        } else if (l.rfind("f ", 0) == 0) {
            std::array<int, 3> t;
            s >> t[0] >> t[1] >> t[2];
            m.f.push_back({t[0] - 1, t[1] - 1, t[2] - 1});
        }
    }
    return m;
}

double Volume(const Obj& m)
{
    double vol = 0.0;
    for (const auto& t : m.f) {
        const auto &a = m.v[t[0]], &b = m.v[t[1]], &c = m.v[t[2]];
        vol += a[0] * (b[1] * c[2] - b[2] * c[1]) - a[1] * (b[0] * c[2] - b[2] * c[0]) + a[2] * (b[0] * c[1] - b[1] * c[0]);
    }
    return vol / 6.0;
}

bool Closed(const Obj& m)
{
    std::map<std::pair<int, int>, int> d;
    for (const auto& t : m.f)
        for (int k = 0; k < 3; ++k) ++d[{t[k], t[(k + 1) % 3]}];
    for (const auto& e : d)
        if (e.second != 1 || d.count({e.first.second, e.first.first}) != 1) return false;
    return !d.empty();
}

// Runs the program from an empty working directory of its own, so that any
// file it leaves there can be seen.
class KrtesBoolean : public ::testing::Test {
protected:
    void SetUp() override
    {
        char buf[4096];
        ASSERT_NE(getcwd(buf, sizeof buf), nullptr);
        m_home = buf;
        std::string tmpl = ::testing::TempDir() + "krtes_boolean_cwd_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
        m_dir = tmpl;
        ASSERT_EQ(chdir(m_dir.c_str()), 0);
    }
    void TearDown() override
    {
        ASSERT_EQ(chdir(m_home.c_str()), 0);
        std::system(("rm -rf '" + m_dir + "'").c_str());
    }
    std::string File(const std::string& name, const std::string& text)
    {
        const std::string p = m_dir + "/" + name;
        std::ofstream(p) << text;
        return p;
    }
    std::size_t EntriesInCwd() const
    {
        std::size_t n = 0;
        for (const auto& e : std::filesystem::directory_iterator(m_dir)) n += !e.path().empty();
        return n;
    }
    std::string m_home, m_dir;
};

TEST_F(KrtesBoolean, FourOperationsOnOverlappingCubes)
{
    const std::string a = File("a.obj", BoxObj(0, 0, 0, 10)), b = File("b.obj", BoxObj(5, 5, 5, 10));
    const std::pair<const char*, double> ops[] = {
        {"union", 1875}, {"intersection", 125}, {"a-minus-b", 875}, {"b-minus-a", 875}};
    for (const auto& [op, vol] : ops) {
        const std::string out = m_dir + "/" + op + ".obj";
        const CliRun r = Krtes("boolean " + a + " " + b + " --op " + op + " -o " + out);
        ASSERT_EQ(r.code, 0) << r.out;
        EXPECT_NE(r.out.find("solid A       12 triangles"), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("warning"), std::string::npos) << r.out;
        const Obj m = ReadObj(out);
        EXPECT_TRUE(Closed(m)) << op;
        EXPECT_NEAR(Volume(m), vol, 1e-9) << op;
    }
    // Nothing but the results is left in the working directory.
    EXPECT_EQ(EntriesInCwd(), 6u);
    EXPECT_FALSE(krtes_test::Exists(m_dir + "/C:\\Seg-1.txt"));
}

TEST_F(KrtesBoolean, DiagnosticsOnRequest)
{
    const std::string a = File("a.obj", BoxObj(0, 0, 0, 10)), b = File("b.obj", BoxObj(5, 5, 5, 10));
    const CliRun r = Krtes("boolean " + a + " " + b + " --op intersection -o out.ply --diagnostics diag/sub");
    ASSERT_EQ(r.code, 0) << r.out;
    for (const char* f : {"C:\\Seg-1.txt", "C:\\MeshA-Out.txt", "C:\\MeshA-In.txt", "C:\\MeshA-Same.txt", "C:\\Seg-2.txt",
                          "C:\\MeshB-Out.txt", "C:\\MeshB-In.txt", "C:\\MeshB-Same.txt"})
        EXPECT_TRUE(krtes_test::Exists(m_dir + "/diag/sub/" + f)) << f;
    // A's part inside B: three quarter faces, each two or more triangles.
    std::istringstream in(krtes_test::Read(m_dir + "/diag/sub/C:\\MeshA-In.txt"));
    int lines = 0;
    for (std::string l; std::getline(in, l);) ++lines;
    EXPECT_GE(lines, 6);
    EXPECT_TRUE(krtes_test::Exists(m_dir + "/out.ply"));
    EXPECT_FALSE(krtes_test::Exists(m_dir + "/C:\\Seg-1.txt"));
}

TEST_F(KrtesBoolean, RefusesWhatIsNotASolid)
{
    const std::string good = File("good.obj", BoxObj(0, 0, 0, 10));
    std::string text = BoxObj(5, 5, 5, 10);
    const std::string open = File("open.obj", text.substr(0, text.rfind("f ")));
    std::string flipped = text;
    flipped.replace(flipped.find("f 1 3 4"), 7, "f 1 4 3");
    const std::string mixed = File("mixed.obj", flipped);

    CliRun r = Krtes("boolean " + good + " " + open + " --op union -o x.obj");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("open.obj: not closed: 3 edges"), std::string::npos) << r.out;
    r = Krtes("boolean " + mixed + " " + good + " --op union -o x.obj");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("mixed.obj: not consistently oriented"), std::string::npos) << r.out;
    EXPECT_FALSE(krtes_test::Exists(m_dir + "/x.obj"));

    // An inside-out solid is turned outward and says so.
    const std::string inward = File("inward.obj", BoxObj(5, 5, 5, 10, true));
    r = Krtes("boolean " + good + " " + inward + " --op b-minus-a -o x.obj");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("inward.obj: faces inward; turned outward"), std::string::npos) << r.out;
    EXPECT_NEAR(Volume(ReadObj(m_dir + "/x.obj")), 875.0, 1e-9);

    EXPECT_NE(Krtes("boolean " + good + " --op union -o x.obj").code, 0);
    EXPECT_NE(Krtes("boolean " + good + " " + good + " --op xor -o x.obj").code, 0);
    EXPECT_NE(Krtes("boolean " + good + " " + good + " --op union").code, 0);
    EXPECT_NE(Krtes("boolean " + good + " " + good + " --op union -o x.stl").code, 0);
    EXPECT_NE(Krtes("boolean " + good + " missing.obj --op union -o y.obj").code, 0);
}

}  // namespace
