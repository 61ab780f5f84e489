// The krtes boolean command.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <utility>

#include "KrTesGeometry/io/KrTesIO.h"
#include "support/KrtesCliRun.h"
#include "support/KrTestMeshes.h"

namespace {

using krtes_test::CliRun;
using krtes_test::Exists;
using krtes_test::Krtes;

// Runs the program from an empty working directory of its own, so that any
// file it leaves there can be seen.
class KrtesBoolean : public testmesh::InScratchDir {
protected:
    std::string File(const std::string& name, const testmesh::Solid& s)
    {
        const std::string p = m_dir + "/" + name;
        std::string err;
        EXPECT_TRUE(krtes::WriteMeshFile(p, s.pts, s.ids, err)) << err;
        return p;
    }
    // The volume of a result, which must be closed and consistently oriented.
    static double ClosedVolume(const std::string& path)
    {
        testmesh::Pts pts;
        testmesh::Ids ids;
        std::string err;
        EXPECT_TRUE(krtes::ReadMeshFile(path, pts, ids, err)) << err;
        EXPECT_EQ(testmesh::ClosedOriented(ids), "") << path;
        return testmesh::Volume(pts, ids);
    }
};

TEST_F(KrtesBoolean, FourOperationsOnOverlappingCubes)
{
    const std::string a = File("a.obj", testmesh::Box(0, 0, 0, 10, 10, 10));
    const std::string b = File("b.obj", testmesh::Box(5, 5, 5, 15, 15, 15));
    const std::pair<const char*, double> ops[] = {
        {"union", 1875}, {"intersection", 125}, {"a-minus-b", 875}, {"b-minus-a", 875}};
    for (const auto& [op, vol] : ops) {
        const std::string out = m_dir + "/" + op + ".obj";
        const CliRun r = Krtes("boolean " + a + " " + b + " --op " + op + " -o " + out);
        ASSERT_EQ(r.code, 0) << r.out;
        EXPECT_NE(r.out.find("solid A       12 triangles"), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("warning"), std::string::npos) << r.out;
        EXPECT_NEAR(ClosedVolume(out), vol, 1e-9) << op;
    }
    // Nothing but the inputs and results is left in the working directory.
    std::size_t entries = 0;
    for (const auto& e : std::filesystem::directory_iterator(m_dir)) entries += !e.path().empty();
    EXPECT_EQ(entries, 6u);

    // Diagnostics go to the directory asked for (made if need be), only there.
    const CliRun r = Krtes("boolean " + a + " " + b + " --op intersection -o out.ply --diagnostics diag/sub");
    ASSERT_EQ(r.code, 0) << r.out;
    for (const char* f : {"C:\\Seg-1.txt", "C:\\MeshA-Out.txt", "C:\\MeshA-In.txt", "C:\\MeshA-Same.txt", "C:\\Seg-2.txt",
                          "C:\\MeshB-Out.txt", "C:\\MeshB-In.txt", "C:\\MeshB-Same.txt"})
        EXPECT_TRUE(Exists(m_dir + "/diag/sub/" + f)) << f;
    // A's part inside B: three quarter faces, each two or more triangles.
    const std::string in = krtes_test::Read(m_dir + "/diag/sub/C:\\MeshA-In.txt");
    EXPECT_GE(std::count(in.begin(), in.end(), '\n'), 6);
    EXPECT_NEAR(ClosedVolume(m_dir + "/out.ply"), 125.0, 1e-9);
    EXPECT_FALSE(Exists(m_dir + "/C:\\Seg-1.txt"));
}

TEST_F(KrtesBoolean, RefusesWhatIsNotASolid)
{
    const std::string good = File("good.obj", testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Solid s = testmesh::Box(5, 5, 5, 15, 15, 15);
    testmesh::Solid open = s, mixed = s;
    open.ids.pop_back();
    std::swap(mixed.ids[0].nID[1], mixed.ids[0].nID[2]);
    for (auto& t : s.ids) std::swap(t.nID[1], t.nID[2]);  // inside out

    CliRun r = Krtes("boolean " + good + " " + File("open.obj", open) + " --op union -o x.obj");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("open.obj: not closed: 3 edges"), std::string::npos) << r.out;
    r = Krtes("boolean " + File("mixed.obj", mixed) + " " + good + " --op union -o x.obj");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("mixed.obj: not consistently oriented"), std::string::npos) << r.out;
    EXPECT_FALSE(Exists(m_dir + "/x.obj"));

    // An inside-out solid is turned outward and says so.
    r = Krtes("boolean " + good + " " + File("inward.obj", s) + " --op b-minus-a -o x.obj");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("inward.obj: faces inward; turned outward"), std::string::npos) << r.out;
    EXPECT_NEAR(ClosedVolume(m_dir + "/x.obj"), 875.0, 1e-9);

    for (const std::string& args : {std::string(" --op union -o y.obj"), " " + good + " --op xor -o y.obj",
                                   " " + good + " --op union", " " + good + " --op union -o y.stl",
                                   std::string(" missing.obj --op union -o y.obj")})
        EXPECT_NE(Krtes("boolean " + good + args).code, 0) << args;
    EXPECT_FALSE(Exists(m_dir + "/y.obj"));
}

// Two bumpy closed surfaces (radius 10 +- 1.5), the second turned about
// the vertical axis: one degree gives a cut the boolean gets wrong, thirty
// one it gets right.
testmesh::Solid Bumpy(double degrees)
{
    testmesh::Solid s = testmesh::Sphere({0, 0, 0}, 10.0, 3);
    for (CKrPoint3d& p : s.pts) {
        const double th = std::acos(p.z / 10.0), ph = std::atan2(p.y, p.x);
        p = p * ((10.0 + 1.5 * std::sin(3 * th) * std::cos(4 * ph)) / 10.0);
    }
    return testmesh::Rotated(s, {0, 0, 0}, 0, 0, 1, degrees * std::acos(-1.0) / 180.0);
}

TEST_F(KrtesBoolean, BrokenResultIsAnErrorAndGoodOnesRepeat)
{
    const std::string a = File("a.obj", Bumpy(0)), broken = File("b1.obj", Bumpy(1)), fine = File("b30.obj", Bumpy(30));
    CliRun r = Krtes("boolean " + a + " " + broken + " --op union -o u.obj");
    EXPECT_EQ(r.code, 1) << r.out;
    EXPECT_NE(r.out.find("could not all be sorted"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("u.obj not written (--keep-broken writes it anyway)"), std::string::npos) << r.out;
    EXPECT_FALSE(Exists(m_dir + "/u.obj"));
    r = Krtes("boolean " + a + " " + broken + " --op union -o u.obj --keep-broken");
    EXPECT_EQ(r.code, 1) << r.out;
    EXPECT_NE(r.out.find("(broken, kept as asked)"), std::string::npos) << r.out;
    EXPECT_TRUE(Exists(m_dir + "/u.obj"));

    // A sound result, run twice in two processes: the same bytes.
    for (const char* out : {"v1.ply", "v2.ply"}) {
        r = Krtes("boolean " + a + " " + fine + " --op a-minus-b -o " + m_dir + "/" + out);
        EXPECT_EQ(r.code, 0) << r.out;
        EXPECT_EQ(r.out.find("error"), std::string::npos) << r.out;
    }
    EXPECT_EQ(krtes_test::Read(m_dir + "/v1.ply"), krtes_test::Read(m_dir + "/v2.ply"));
    // Its volume: A's less the common part, which the intersection gives.
    r = Krtes("boolean " + a + " " + fine + " --op intersection -o " + m_dir + "/i.ply");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NEAR(ClosedVolume(m_dir + "/v1.ply") + ClosedVolume(m_dir + "/i.ply"),
                testmesh::Volume(Bumpy(0)), 1e-6 * testmesh::Volume(Bumpy(0)));
}

}  // namespace
