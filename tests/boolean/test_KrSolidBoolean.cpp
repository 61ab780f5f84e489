// Solid booleans: the four operations on cubes, spheres and touching or
// nested solids, the diagnostic files and the list plumbing.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <memory>
#include <fstream>
#include <initializer_list>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "support/KrTestMeshes.h"

namespace {

using namespace TesTriMesh;
using testmesh::Solid;

const char* const kFiles[8] = {"C:\\Seg-1.txt",  "C:\\MeshA-Out.txt", "C:\\MeshA-In.txt", "C:\\MeshA-Same.txt",
                               "C:\\Seg-2.txt",  "C:\\MeshB-Out.txt", "C:\\MeshB-In.txt", "C:\\MeshB-Same.txt"};

// Every test runs in a fresh working directory: the constructions write
// their diagnostic files there.
class SolidBooleanTest : public testmesh::InScratchDir {
protected:
    static std::vector<std::string> Lines(const char* name)
    {
        std::vector<std::string> out;
        std::ifstream in(name);
        for (std::string l; std::getline(in, l);) out.push_back(l);
        return out;
    }
    static bool Exists(const char* name)
    {
        struct stat st;
        return stat(name, &st) == 0 && S_ISREG(st.st_mode);
    }
};

// Union, intersection, A - B, B - A by number.
bool Compose(CKrSolidBoolean& sol, int op, CKrMeshData& r)
{
    return op == 0 ? sol.Union_A_And_B(r)
                   : op == 1 ? sol.Intersect_A_And_B(r) : op == 2 ? sol.Diference_A_And_B(r) : sol.Diference_B_And_A(r);
}

// A closed surface with bumps (radius 10 +- 1.5), turned about the vertical
// axis: against a copy turned a little, the two surfaces cross along many
// shallow lines.
Solid Bumpy(double turn)
{
    Solid s = testmesh::Sphere({0, 0, 0}, 10.0, 3);
    for (CKrPoint3d& p : s.pts) {
        const double th = std::acos(p.z / 10.0), ph = std::atan2(p.y, p.x);
        p = p * ((10.0 + 1.5 * std::sin(3 * th) * std::cos(4 * ph)) / 10.0);
    }
    return testmesh::Rotated(s, {0, 0, 0}, 0, 0, 1, turn);
}

// Everything a construction and two operations put out: the diagnostic
// files, byte for byte, and the results' points and sorted triangles.
struct Outcome {
    std::vector<std::string> files;
    std::vector<std::string> results;
    bool classified = false;
    bool operator==(const Outcome& o) const
    {
        return files == o.files && results == o.results && classified == o.classified;
    }
};

std::string Bytes(const char* name)
{
    std::ifstream in(name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string Dump(CKrMeshData& m)
{
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> ids;
    m.OutputData(pts, ids);
    std::vector<std::array<int, 3>> tris;
    for (const auto& t : ids) {
        std::array<int, 3> c = {t.nID[0], t.nID[1], t.nID[2]};
        std::rotate(c.begin(), std::min_element(c.begin(), c.end()), c.end());
        tris.push_back(c);
    }
    std::sort(tris.begin(), tris.end());
    std::string out;
    char buf[100];
    for (const CKrPoint3d& p : pts) {
        std::snprintf(buf, sizeof buf, "%a %a %a\n", p.x, p.y, p.z);
        out += buf;
    }
    for (const auto& t : tris) out += std::to_string(t[0]) + " " + std::to_string(t[1]) + " " + std::to_string(t[2]) + "\n";
    return out;
}

// Runs the boolean of sa and sb. shuffled builds both meshes from their
// points and triangles in reverse order, B before A.
Outcome RunBoolean(const Solid& sa, const Solid& sb, bool shuffled)
{
    auto reversed = [](const Solid& s) {
        Solid r;
        const int n = static_cast<int>(s.pts.size());
        r.pts.assign(s.pts.rbegin(), s.pts.rend());
        for (auto it = s.ids.rbegin(); it != s.ids.rend(); ++it)
            r.ids.emplace_back(n - 1 - it->nID[0], n - 1 - it->nID[1], n - 1 - it->nID[2]);
        return r;
    };
    auto b = std::make_unique<CKrMeshData>(), a = std::make_unique<CKrMeshData>();
    if (shuffled) {
        testmesh::Load(*b, reversed(sb));
        testmesh::Load(*a, reversed(sa));
    } else {
        testmesh::Load(*a, sa);
        testmesh::Load(*b, sb);
    }
    Outcome o;
    CKrSolidBoolean sol(*a, *b);
    o.classified = sol.IsClassified();
    for (const char* f : kFiles) o.files.push_back(Bytes(f));
    for (int op : {0, 2}) {
        CKrMeshData r;
        Compose(sol, op, r);
        o.results.push_back(Dump(r));
    }
    return o;
}

struct Expect {
    double uni, inter, aMinusB, bMinusA;
};

// The four results of A and B: each closed, consistently oriented, free of
// self-intersections, with the expected volume (relative tolerance tol).
void CheckAll(const Solid& sa, const Solid& sb, const Expect& want, double tol, const char* what)
{
    SCOPED_TRACE(what);
    CKrMeshData a, b;
    testmesh::Load(a, sa);
    testmesh::Load(b, sb);
    CKrSolidBoolean sol(a, b);
    EXPECT_TRUE(sol.AFifth().empty());
    EXPECT_TRUE(sol.BFifth().empty());
    const double scale = std::max(testmesh::Volume(sa), testmesh::Volume(sb));
    const char* names[4] = {"union", "intersection", "A - B", "B - A"};
    const double vols[4] = {want.uni, want.inter, want.aMinusB, want.bMinusA};
    for (int op = 0; op < 4; ++op) {
        SCOPED_TRACE(names[op]);
        CKrMeshData r;
        EXPECT_TRUE(Compose(sol, op, r));
        const testmesh::SolidReport rep = testmesh::Inspect(r);
        EXPECT_EQ(rep.closed, "");
        EXPECT_EQ(rep.selfHits, 0);
        EXPECT_NEAR(rep.volume, vols[op], tol * scale);
        EXPECT_EQ(rep.tris == 0, vols[op] == 0.0) << rep.tris;
    }
}

TEST_F(SolidBooleanTest, OverlappingCubes)
{
    const Solid a = testmesh::Box(0, 0, 0, 10, 10, 10);
    CheckAll(a, testmesh::Box(5, 5, 5, 15, 15, 15), {1875, 125, 875, 875}, 1e-12, "corner overlap");
    CheckAll(a, testmesh::Box(-2, 3, 4, 12, 6, 8), {1048, 120, 880, 48},
             1e-12, "bar through two faces");
    // A tilted cube: the exact volumes come from clipping one convex solid
    // by the other's planes.
    const Solid t = testmesh::Rotated(testmesh::Box(4, 3, 2, 14, 13, 12), {9, 8, 7}, 1, 2, 3, 0.6);
    ASSERT_NEAR(testmesh::ConvexIntersectionVolume(a, testmesh::Box(5, 5, 5, 15, 15, 15)), 125.0, 1e-9);
    ASSERT_NEAR(testmesh::ConvexIntersectionVolume(a, a), 1000.0, 1e-9);
    const double in = testmesh::ConvexIntersectionVolume(a, t);
    ASSERT_NEAR(in, testmesh::ConvexIntersectionVolume(t, a), 1e-9);
    ASSERT_GT(in, 100.0);
    CheckAll(a, t, {2000 - in, in, 1000 - in, 1000 - in}, 1e-9, "tilted");
}

TEST_F(SolidBooleanTest, CubesSharingAFaceNestedAndIdentical)
{
    const Solid a = testmesh::Box(0, 0, 0, 10, 10, 10);
    CheckAll(a, testmesh::Box(0, 0, 10, 10, 10, 20), {2000, 0, 1000, 1000}, 1e-12, "whole face");
    CheckAll(a, testmesh::Box(5, 5, 10, 15, 15, 20), {2000, 0, 1000, 1000}, 1e-12, "part of a face");
    CheckAll(a, testmesh::Box(2, 2, 2, 8, 8, 8), {1000, 216, 784, 0}, 1e-12, "nested");
    CheckAll(a, testmesh::Box(0, 2, 2, 5, 8, 8), {1000, 180, 820, 0}, 1e-12, "nested on a face");
    CheckAll(testmesh::Box(2, 2, 2, 8, 8, 8), a, {1000, 216, 0, 784}, 1e-12, "nested, other way round");
    CheckAll(a, a, {1000, 1000, 0, 0}, 1e-12, "identical");
    CheckAll(a, testmesh::Box(20, 0, 0, 30, 10, 10), {2000, 0, 1000, 1000}, 1e-12, "apart");
}

TEST_F(SolidBooleanTest, CubeAndSphereLikeSolids)
{
    // Subdivided icosahedra are convex, so the clipping oracle gives their
    // exact intersections too.
    const Solid cube = testmesh::Box(0, 0, 0, 1000, 1000, 1000);
    const Solid s1 = testmesh::Sphere({900, 700, 800}, 400.0, 3);
    double in = testmesh::ConvexIntersectionVolume(cube, s1);
    const double vc = 1e9, v1 = testmesh::Volume(s1);
    CheckAll(cube, s1, {vc + v1 - in, in, vc - in, v1 - in}, 1e-9, "cube and sphere");

    const Solid s2 = testmesh::Sphere({0, 0, 0}, 1000.0, 3);
    const Solid s3 = testmesh::Sphere({600, 250, 150}, 800.0, 3);
    in = testmesh::ConvexIntersectionVolume(s2, s3);
    const double v2 = testmesh::Volume(s2), v3 = testmesh::Volume(s3);
    CheckAll(s2, s3, {v2 + v3 - in, in, v2 - in, v3 - in}, 1e-9, "two spheres");

}

TEST_F(SolidBooleanTest, DiagnosticFilesAndTheirLines)
{
    CKrMeshData a, b;
    testmesh::Load(a, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(b, testmesh::Box(5, 5, 10, 15, 15, 20));
    // An existing file is truncated; one that cannot be opened is skipped.
    std::ofstream(kFiles[0]) << "old contents\n";
    ASSERT_EQ(mkdir(kFiles[2], 0755), 0);
    CKrSolidBoolean sol(a, b);

    const std::regex seg("^(-?\\d+\\.\\d{3},){5}-?\\d+\\.\\d{3}$");
    for (int f : {0, 4}) {
        const auto lines = Lines(kFiles[f]);
        EXPECT_FALSE(lines.empty()) << kFiles[f];
        for (const std::string& l : lines) EXPECT_TRUE(std::regex_match(l, seg)) << l;
    }
    // B stands on the square [5, 10] x [5, 10] of A's top: every segment
    // lies in it, and together they run once around its outline.
    double outline = 0.0;
    for (const std::string& l : Lines(kFiles[0])) {
        double c[6];
        ASSERT_EQ(std::sscanf(l.c_str(), "%lf,%lf,%lf,%lf,%lf,%lf", c, c + 1, c + 2, c + 3, c + 4, c + 5), 6);
        EXPECT_EQ(c[2], 10.0);
        EXPECT_EQ(c[5], 10.0);
        for (int k : {0, 1, 3, 4}) EXPECT_TRUE(c[k] >= 5.0 && c[k] <= 10.0) << l;
        if ((c[0] == c[3] && (c[0] == 5 || c[0] == 10)) || (c[1] == c[4] && (c[1] == 5 || c[1] == 10)))
            outline += std::hypot(c[3] - c[0], c[4] - c[1]);
    }
    EXPECT_NEAR(outline, 20.0, 1e-9);
    // Each triangle file lists its own list, entry by entry.
    auto expectTriFiles = [](const CKrSolidBoolean& s, std::initializer_list<int> files) {
        const std::vector<_sTri*>* lists[8] = {nullptr, &s.AOutside(), &s.AInside(), &s.ASame(),
                                               nullptr, &s.BOutside(), &s.BInside(), &s.BSame()};
        for (int f : files) {
            const auto lines = Lines(kFiles[f]);
            ASSERT_EQ(lines.size(), lists[f]->size()) << kFiles[f];
            for (std::size_t i = 0; i < lines.size(); ++i) {
                const _sTri* t = (*lists[f])[i];
                char want[512];
                std::snprintf(want, sizeof want, "%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f,%.3f", t->pVer[0]->pt.x,
                              t->pVer[0]->pt.y, t->pVer[0]->pt.z, t->pVer[1]->pt.x, t->pVer[1]->pt.y,
                              t->pVer[1]->pt.z, t->pVer[2]->pt.x, t->pVer[2]->pt.y, t->pVer[2]->pt.z);
                EXPECT_EQ(lines[i], want);
            }
        }
    };
    expectTriFiles(sol, {1, 3, 5, 6, 7});
    // Nothing of A is inside B, nothing lies on it facing the same way:
    // those files are empty (and the blocked one stays a directory).
    EXPECT_TRUE(Lines(kFiles[3]).empty());
    EXPECT_TRUE(Lines(kFiles[7]).empty());
    EXPECT_FALSE(Exists(kFiles[2]));
    EXPECT_FALSE(sol.AOpposite().empty());
    EXPECT_FALSE(sol.BOpposite().empty());

    // Overlapping cubes fill every list but the same ones.
    ASSERT_EQ(rmdir(kFiles[2]), 0);
    CKrMeshData c, d;
    testmesh::Load(c, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(d, testmesh::Box(5, 5, 5, 15, 15, 15));
    CKrSolidBoolean over(c, d);
    ASSERT_FALSE(over.AInside().empty() || over.AOutside().empty() || over.BInside().empty());
    expectTriFiles(over, {1, 2, 3, 5, 6, 7});
}

TEST_F(SolidBooleanTest, ConstructedFromInterchangeMeshesComposesNothing)
{
    const Solid sa = testmesh::Box(0, 0, 0, 10, 10, 10), sb = testmesh::Box(5, 5, 5, 15, 15, 15);
    CKrSolidBoolean sol(testmesh::ToGeData(sa), testmesh::ToGeData(sb));
    // The classification ran (its files are there and describe the
    // overlap) but its lists went with the temporary object.
    for (const char* f : kFiles) EXPECT_TRUE(Exists(f)) << f;
    EXPECT_FALSE(Lines(kFiles[0]).empty());
    EXPECT_FALSE(Lines(kFiles[1]).empty());
    EXPECT_FALSE(Lines(kFiles[6]).empty());
    EXPECT_TRUE(sol.AOutside().empty() && sol.AInside().empty() && sol.BOutside().empty() && sol.BInside().empty());
    CKrMeshData r;
    testmesh::Load(r, sa);
    for (int op = 0; op < 4; ++op) {
        EXPECT_TRUE(Compose(sol, op, r));
        EXPECT_EQ(r.TriNum(), 0) << op;
        EXPECT_TRUE(r.m_setVer.empty()) << op;
    }
}

TEST_F(SolidBooleanTest, ComposeSolidPicksListsAndFlipsBack)
{
    CKrMeshData a, b;
    testmesh::Load(a, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(b, testmesh::Box(5, 5, 10, 15, 15, 20));
    CKrSolidBoolean sol(a, b);
    // Each list is taken once however often its code is named.
    CKrMeshData r;
    EXPECT_TRUE(sol.ComposeSolid(1, 1, 1, r));
    EXPECT_EQ(static_cast<std::size_t>(r.TriNum()), sol.AOutside().size() + sol.BOutside().size());
    // Codes without a list take no A triangles and the B opposite list.
    EXPECT_TRUE(sol.ComposeSolid(5, 5, 5, r));
    EXPECT_EQ(static_cast<std::size_t>(r.TriNum()), sol.BOpposite().size());
    EXPECT_NEAR(testmesh::Volume(r), 0.0, 1e-9);  // an open patch: B's foot, 5 x 5 at z = 10
    double area = 0.0;
    for (const _sTri* t : sol.BOpposite()) {
        const CKrPoint3d u = t->pVer[1]->pt - t->pVer[0]->pt, w = t->pVer[2]->pt - t->pVer[0]->pt;
        area += 0.5 * (u.x * w.y - u.y * w.x);
        EXPECT_EQ(t->pVer[0]->pt.z, 10.0);
    }
    EXPECT_NEAR(area, -25.0, 1e-9);  // facing down

    // The differences flip their lists only while composing.
    std::vector<std::array<_sVertex*, 3>> before;
    for (const _sTri* t : sol.AOpposite()) before.push_back({t->pVer[0], t->pVer[1], t->pVer[2]});
    CKrMeshData d;
    sol.Diference_B_And_A(d);
    for (std::size_t i = 0; i < before.size(); ++i) {
        const _sTri* t = sol.AOpposite()[i];
        EXPECT_TRUE(t->pVer[0] == before[i][0] && t->pVer[1] == before[i][1] && t->pVer[2] == before[i][2]);
    }
    EXPECT_NEAR(testmesh::Volume(d), 1000.0, 1e-9);
    sol.InvertAOppositeTris();
    EXPECT_EQ(sol.AOpposite()[0]->pVer[0], before[0][1]);
    sol.InvertAOppositeTris();

    // Nested solids: B lies inside A; A - B flips B while composing only.
    CKrMeshData outer, inner;
    testmesh::Load(outer, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(inner, testmesh::Box(2, 2, 2, 8, 8, 8));
    CKrSolidBoolean nest(outer, inner);
    EXPECT_EQ(nest.AOutside().size(), 12u);
    EXPECT_EQ(nest.BInside().size(), 12u);
    const _sVertex* first = nest.BInside()[0]->pVer[0];
    sol.Diference_A_And_B(d);
    nest.Diference_A_And_B(d);
    EXPECT_EQ(nest.BInside()[0]->pVer[0], first);
    EXPECT_NEAR(testmesh::Volume(inner), 216.0, 1e-9);
    EXPECT_NEAR(testmesh::Volume(d), 784.0, 1e-9);
}

}  // namespace

TEST_F(SolidBooleanTest, ClassificationFailureIsReported)
{
    const Solid a = testmesh::Box(0, 0, 0, 10, 10, 10), b = testmesh::Box(5, 5, 5, 15, 15, 15);
    Solid open = a;
    open.ids.pop_back();
    struct Case {
        const char* what;
        Solid a, b;
        bool aOk, bOk;
    } const cases[] = {
        {"two closed cubes", a, b, true, true},
        // Nothing can be inside an open A: B cannot be sorted against it;
        // A's triangles are still sorted against the closed B.
        {"an open A", open, b, true, false},
        {"an open B", a, open, false, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        CKrMeshData ma, mb;
        testmesh::Load(ma, c.a);
        testmesh::Load(mb, c.b);
        const CKrSolidBoolean sol(ma, mb);
        EXPECT_EQ(sol.IsAClassified(), c.aOk);
        EXPECT_EQ(sol.IsBClassified(), c.bOk);
        EXPECT_EQ(sol.IsClassified(), c.aOk && c.bOk);
        const CKrSolidBoolean copied(testmesh::ToGeData(c.a), testmesh::ToGeData(c.b));
        EXPECT_EQ(copied.IsAClassified(), c.aOk);
        EXPECT_EQ(copied.IsBClassified(), c.bOk);
    }
}

TEST_F(SolidBooleanTest, SameOutputWhateverTheProcessAllocated)
{
    // A pair the cut gets wrong, so that any decision taken in memory order
    // would show, and a pair it gets right.
    const std::pair<Solid, Solid> pairs[] = {{Bumpy(0.0), Bumpy(1.0 * std::acos(-1.0) / 180.0)},
                                             {Bumpy(0.0), Bumpy(30.0 * std::acos(-1.0) / 180.0)}};
    for (const auto& [sa, sb] : pairs) {
        const Outcome first = RunBoolean(sa, sb, false);
        ASSERT_FALSE(first.files[1].empty());
        // Unrelated meshes made and partly freed in between move the heap.
        std::vector<std::unique_ptr<CKrMeshData>> noise;
        for (int i = 0; i < 40; ++i) {
            noise.push_back(std::make_unique<CKrMeshData>());
            testmesh::Load(*noise.back(), testmesh::Sphere({double(i), 0, 0}, 1.0 + i, i % 4));
            if (i % 3 == 0) noise[static_cast<std::size_t>(i / 2)].reset();
        }
        EXPECT_TRUE(RunBoolean(sa, sb, false) == first);
        EXPECT_TRUE(RunBoolean(sa, sb, true) == first);
    }
}
