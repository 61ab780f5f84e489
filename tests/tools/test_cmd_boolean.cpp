// The krtes boolean command.
#include <filesystem>
#include <tuple>

#include "boolean/BooleanCases.h"
#include "tools/KrtesToolTest.h"

namespace {

using namespace krtes_test;

// Runs the program from an empty working directory of its own, so that any
// file it leaves there can be seen.
class KrtesBoolean : public testmesh::InScratchDir {
protected:
    std::string File(const std::string& name, const testmesh::Solid& s) { return SolidFile(m_dir + "/" + name, s); }
    // The volume of a result, which must be closed and consistently oriented.
    static double ClosedVolume(const std::string& path, std::size_t* tris = nullptr)
    {
        testmesh::Pts pts;
        testmesh::Ids ids;
        std::string err;
        EXPECT_TRUE(krtes::ReadMeshFile(path, pts, ids, err)) << err;
        EXPECT_TRUE(TesTriMesh::CheckClosedSolid(ids).IsSolid()) << path;
        if (tris) *tris = ids.size();
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
        const json j = JsonRun("boolean " + a + " " + b + " --op " + op + " -o " + out);
        EXPECT_TRUE(j["errors"].empty() && j["warnings"].empty()) << j.dump();
        // Every triangle of A after the cut is sorted one way or another.
        const json& ja = j["a"];
        EXPECT_EQ(ja.value("outside", 0) + ja.value("inside", 0) + ja.value("same", 0) + ja.value("opposite", 0),
                  ja.value("triangles_cut", -1));
        std::size_t tris = 0;
        EXPECT_NEAR(ClosedVolume(out, &tris), vol, 1e-9) << op;
        EXPECT_EQ(j["result"].value("triangles", 0u), tris);
        EXPECT_NEAR(j["result"].value("volume", 0.0), vol, 1e-9) << op;
    }
    // Nothing but the inputs and results is left in the working directory.
    std::size_t entries = 0;
    for (const auto& e : std::filesystem::directory_iterator(m_dir)) entries += !e.path().empty();
    EXPECT_EQ(entries, 6u);

    // Diagnostics go to the directory asked for (made if need be), only there.
    const CliRun r = Krtes("boolean " + a + " " + b + " --op intersection -o out.ply --diagnostics diag/sub");
    ASSERT_EQ(r.code, 0) << r.out;
    for (const char* f : {"Seg-1", "MeshA-Out", "MeshA-In", "MeshA-Same", "Seg-2", "MeshB-Out", "MeshB-In", "MeshB-Same"})
        EXPECT_TRUE(Exists(m_dir + "/diag/sub/C:\\" + f + ".txt")) << f;
    // A's part inside B: three quarter faces, each two or more triangles.
    const std::string in = Read(m_dir + "/diag/sub/C:\\MeshA-In.txt");
    EXPECT_GE(std::count(in.begin(), in.end(), '\n'), 6);
    EXPECT_NEAR(ClosedVolume(m_dir + "/out.ply"), 125.0, 1e-9);
    EXPECT_FALSE(Exists(m_dir + "/C:\\Seg-1.txt"));
}

// Open and mixed solids are refused; an inside-out one is turned outward and says so.
TEST_F(KrtesBoolean, RefusesWhatIsNotASolid)
{
    const std::string good = File("good.obj", testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Solid s = testmesh::Box(5, 5, 5, 15, 15, 15);
    testmesh::Solid open = s, mixed = s;
    open.ids.pop_back();
    std::swap(mixed.ids[0].nID[1], mixed.ids[0].nID[2]);
    for (auto& t : s.ids) std::swap(t.nID[1], t.nID[2]);  // inside out
    const std::tuple<std::string, int, std::string> cases[] = {
        {File("open.obj", open), 1, "open.obj: not closed: 3 edges"},
        {File("mixed.obj", mixed), 1, "mixed.obj: not consistently oriented"},
        {File("inward.obj", s), 0, "inward.obj: faces inward; turned outward"}};
    for (const auto& [b, code, message] : cases) {
        const CliRun r = Krtes("boolean " + good + " " + b + " --op b-minus-a -o x.obj");
        EXPECT_EQ(r.code, code) << r.out;
        EXPECT_NE(r.out.find(message), std::string::npos) << r.out;
        EXPECT_EQ(Exists(m_dir + "/x.obj"), code == 0);
    }
    EXPECT_NEAR(ClosedVolume(m_dir + "/x.obj"), 875.0, 1e-9);
}

// Two bumpy closed surfaces, the second turned about the vertical axis: one
// degree gives a cut the boolean gets wrong, thirty one it gets right.
testmesh::Solid Bumpy(double degrees) { return booltest::Bumpy(degrees, 3); }

TEST_F(KrtesBoolean, BrokenResultIsAnErrorAndKeptOnlyWhenAsked)
{
    const std::string a = File("a.obj", Bumpy(0)), broken = File("b1.obj", Bumpy(1)), fine = File("b30.obj", Bumpy(30));
    CliRun r = Krtes("boolean " + a + " " + broken + " --op union -o u.obj");
    EXPECT_EQ(r.code, 1) << r.out;
    EXPECT_NE(r.out.find("the result is not closed"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("u.obj not written (--keep-broken writes it anyway)"), std::string::npos) << r.out;
    EXPECT_FALSE(Exists(m_dir + "/u.obj"));
    r = Krtes("boolean " + a + " " + broken + " --op union -o u.obj --keep-broken");
    EXPECT_EQ(r.code, 1) << r.out;
    EXPECT_NE(r.out.find("(broken, kept as asked)"), std::string::npos) << r.out;
    EXPECT_TRUE(Exists(m_dir + "/u.obj"));

    // A sound result: A's volume less the common part, which the intersection gives.
    for (const char* op : {"a-minus-b", "intersection"}) {
        r = Krtes("boolean " + a + " " + fine + " --op " + op + " -o " + op + ".ply");
        ASSERT_EQ(r.code, 0) << r.out;
        EXPECT_EQ(r.out.find("error"), std::string::npos) << r.out;
    }
    EXPECT_NEAR(ClosedVolume("a-minus-b.ply") + ClosedVolume("intersection.ply"), testmesh::Volume(Bumpy(0)),
                1e-6 * testmesh::Volume(Bumpy(0)));
}

}  // namespace
