// Solid booleans: the four operations on touching, nested, overlapping and
// sphere-like solids under both cut engines, repeatability, the diagnostic
// files and the list plumbing.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "boolean/BooleanCases.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "support/MeshTestUtil.h"

namespace {

using namespace booltest;

const char* const kFiles[8] = {"C:\\Seg-1.txt",  "C:\\MeshA-Out.txt", "C:\\MeshA-In.txt", "C:\\MeshA-Same.txt",
                               "C:\\Seg-2.txt",  "C:\\MeshB-Out.txt", "C:\\MeshB-In.txt", "C:\\MeshB-Same.txt"};

std::vector<std::string> Lines(const char* name)
{
    std::vector<std::string> out;
    std::ifstream in(name);
    for (std::string l; std::getline(in, l);) out.push_back(l);
    return out;
}

// Every test runs in a fresh working directory: the constructions write
// their diagnostic files there.
using SolidBooleanTest = testmesh::InScratchDir;

// Cubes touching, nested, overlapping and tilted, and sphere-like solids,
// under both engines: every result sound and the intersection volume the
// exact one (of boxes, or of the clipping oracle for the convex solids).
TEST_F(SolidBooleanTest, KnownVolumesUnderBothEngines)
{
    const Solid a = testmesh::Box(0, 0, 0, 10, 10, 10), in = testmesh::Box(2, 2, 2, 8, 8, 8);
    const double oracle = std::nan("");
    struct Case {
        const char* name;
        Solid a, b;
        double inter;            // NaN: the clipping oracle's
        bool edgeUnion = false;  // the union meets itself along an edge (four triangles there)
    };
    const Case cases[] = {
        {"corner overlap", a, testmesh::Box(5, 5, 5, 15, 15, 15), 125},
        {"bar through two faces", a, testmesh::Box(-2, 3, 4, 12, 6, 8), 120},
        {"tilted", a, testmesh::Rotated(testmesh::Box(4, 3, 2, 14, 13, 12), {9, 8, 7}, 1, 2, 3, 0.6), oracle},
        {"whole face", a, testmesh::Box(0, 0, 10, 10, 10, 20), 0},
        {"part of a face", a, testmesh::Box(5, 5, 10, 15, 15, 20), 0},
        {"nested", a, in, 216},
        {"nested, other way round", in, a, 216},
        {"nested on a face", a, testmesh::Box(0, 2, 2, 5, 8, 8), 180},
        {"overlapping on a face", a, testmesh::Box(5, 5, 0, 15, 15, 10), 250},
        {"identical", a, a, 1000},
        {"apart", a, testmesh::Box(20, 0, 0, 30, 10, 10), 0},
        {"along an edge", a, testmesh::Box(10, 10, 0, 20, 20, 10), 0, true},
        {"along part of an edge", a, testmesh::Box(10, 10, 3, 20, 20, 7), 0, true},
        {"at a corner", a, testmesh::Box(10, 10, 10, 20, 20, 20), 0},
        {"cube and sphere", testmesh::Box(0, 0, 0, 1000, 1000, 1000), testmesh::Sphere({900, 700, 800}, 400.0, 3), oracle},
        {"two spheres", testmesh::Sphere({0, 0, 0}, 1000.0, 3), testmesh::Sphere({600, 250, 150}, 800.0, 3), oracle},
    };
    for (auto engine : {CKrMeshBoolean::CutEngine::kTolerant, CKrMeshBoolean::CutEngine::kExact}) {
        const EngineScope scope(engine);
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(c.name) + (engine == CKrMeshBoolean::CutEngine::kExact ? ", exact" : ", tolerant"));
            const double inter = std::isnan(c.inter) ? testmesh::ConvexIntersectionVolume(c.a, c.b) : c.inter;
            const Result r = RunFour(c.a, c.b, inter, 1e-9);
            EXPECT_EQ(r.fault, c.edgeUnion ? "op 0 not closed/oriented; " : "");
        }
    }
}

// The diagnostic files, byte for byte, and every result's triangles by their
// corners' coordinates. shuffled builds both meshes from their points and
// triangles in reverse order, B before A.
using Fingerprint = std::pair<std::vector<std::string>, std::vector<std::multiset<meshtest::TriKey>>>;

Fingerprint RunPair(const Solid& sa, const Solid& sb, bool shuffled)
{
    auto reversed = [shuffled](const Solid& s) {
        if (!shuffled) return s;
        Solid r;
        const int n = static_cast<int>(s.pts.size());
        r.pts.assign(s.pts.rbegin(), s.pts.rend());
        for (auto it = s.ids.rbegin(); it != s.ids.rend(); ++it)
            r.ids.emplace_back(n - 1 - it->nID[0], n - 1 - it->nID[1], n - 1 - it->nID[2]);
        return r;
    };
    auto b = std::make_unique<CKrMeshData>(), a = std::make_unique<CKrMeshData>();
    testmesh::Load(*b, reversed(sb));
    testmesh::Load(*a, reversed(sa));
    CKrSolidBoolean sol(*a, *b);
    Fingerprint out;
    for (const char* f : kFiles) {
        std::ifstream in(f, std::ios::binary);
        out.first.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    for (int op = 0; op < 4; ++op) {
        CKrMeshData r;
        Compose(sol, op, r);
        out.second.push_back(meshtest::TriKeys(r));
    }
    return out;
}

// The same case gives the same bytes again after unrelated meshes were made
// and partly freed, and with its input listed backwards, under both engines:
// bumpy pairs turned by 1 degree (which the tolerant cut gets wrong, so that
// any decision taken in memory order would show) and by 30.
TEST_F(SolidBooleanTest, SameOutputWhateverTheProcessAllocated)
{
    for (auto engine : {CKrMeshBoolean::CutEngine::kTolerant, CKrMeshBoolean::CutEngine::kExact}) {
        const EngineScope scope(engine);
        for (double turn : {1.0, 30.0}) {
            const Solid sa = Bumpy(0.0, 3), sb = Bumpy(turn, 3);
            const Fingerprint first = RunPair(sa, sb, false);
            ASSERT_FALSE(first.first[1].empty());
            std::vector<std::unique_ptr<CKrMeshData>> noise;
            for (int i = 0; i < 40; ++i) {
                noise.push_back(std::make_unique<CKrMeshData>());
                testmesh::Load(*noise.back(), testmesh::Sphere({double(i), 0, 0}, 1.0 + i, i % 4));
                if (i % 3 == 0) noise[static_cast<std::size_t>(i / 2)].reset();
            }
            EXPECT_TRUE(RunPair(sa, sb, false) == first) << turn;
            EXPECT_TRUE(RunPair(sa, sb, true) == first) << turn;
        }
    }
}

TEST_F(SolidBooleanTest, DiagnosticFilesAndComposedLists)
{
    CKrMeshData a, b;
    testmesh::Load(a, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(b, testmesh::Box(5, 5, 10, 15, 15, 20));
    // An existing file is truncated; one that cannot be opened is skipped.
    std::ofstream(kFiles[0]) << "old contents\n";
    ASSERT_EQ(mkdir(kFiles[2], 0755), 0);
    CKrSolidBoolean sol(a, b);

    // B stands on the square [5, 10] x [5, 10] of A's top: every segment of
    // either sort lies in it, and together they run once around its outline.
    for (int f : {0, 4}) {
        double outline = 0.0;
        for (const std::string& l : Lines(kFiles[f])) {
            // Six numbers with three decimals each, separated by commas: the
            // line reads back and prints again as it stands.
            double c[6] = {};
            ASSERT_EQ(std::sscanf(l.c_str(), "%lf,%lf,%lf,%lf,%lf,%lf", c, c + 1, c + 2, c + 3, c + 4, c + 5), 6);
            char again[512];
            std::snprintf(again, sizeof again, "%.3f,%.3f,%.3f,%.3f,%.3f,%.3f", c[0], c[1], c[2], c[3], c[4], c[5]);
            EXPECT_EQ(l, again);
            EXPECT_TRUE(c[2] == 10.0 && c[5] == 10.0) << l;
            for (int k : {0, 1, 3, 4}) EXPECT_TRUE(c[k] >= 5.0 && c[k] <= 10.0) << l;
            if ((c[0] == c[3] && (c[0] == 5 || c[0] == 10)) || (c[1] == c[4] && (c[1] == 5 || c[1] == 10)))
                outline += std::hypot(c[3] - c[0], c[4] - c[1]);
        }
        EXPECT_NEAR(outline, 20.0, 1e-9) << kFiles[f];
    }
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
    EXPECT_TRUE(Lines(kFiles[3]).empty() && Lines(kFiles[7]).empty());
    struct stat st;
    EXPECT_TRUE(stat(kFiles[2], &st) == 0 && S_ISDIR(st.st_mode));

    // Overlapping cubes fill every list but the same ones.
    ASSERT_EQ(rmdir(kFiles[2]), 0);
    CKrMeshData c, d;
    testmesh::Load(c, testmesh::Box(0, 0, 0, 10, 10, 10));
    testmesh::Load(d, testmesh::Box(5, 5, 5, 15, 15, 15));
    CKrSolidBoolean over(c, d);
    ASSERT_FALSE(over.AInside().empty() || over.AOutside().empty() || over.BInside().empty());
    expectTriFiles(over, {1, 2, 3, 5, 6, 7});

    // Each list is taken once however often its code is named; codes without
    // a list take no A triangles and the B opposite list.
    CKrMeshData r;
    EXPECT_TRUE(sol.ComposeSolid(1, 1, 1, r));
    EXPECT_EQ(static_cast<std::size_t>(r.TriNum()), sol.AOutside().size() + sol.BOutside().size());
    EXPECT_TRUE(sol.ComposeSolid(5, 5, 5, r));
    EXPECT_EQ(static_cast<std::size_t>(r.TriNum()), sol.BOpposite().size());
    EXPECT_NEAR(testmesh::Volume(r), 0.0, 1e-9);  // an open patch: B's foot, 5 x 5 at z = 10
}

// Nothing can be inside an open A: B cannot be sorted against it; A's
// triangles are still sorted against the closed B. The same through the
// interchange meshes, where the classification runs (its files describe the
// overlap) but its lists go with a temporary object: nothing is composed.
TEST_F(SolidBooleanTest, ClassificationFailureIsReported)
{
    const Solid a = testmesh::Box(0, 0, 0, 10, 10, 10), b = testmesh::Box(5, 5, 5, 15, 15, 15);
    Solid open = a;
    open.ids.pop_back();
    struct Case {
        Solid a, b;
        bool aOk, bOk;
    } const cases[] = {{open, b, true, false}, {a, open, false, true}, {a, b, true, true}};
    for (const Case& c : cases) {
        CKrMeshData ma, mb;
        testmesh::Load(ma, c.a);
        testmesh::Load(mb, c.b);
        const CKrSolidBoolean sol(ma, mb);
        const CKrSolidBoolean copied(testmesh::ToGeData(c.a), testmesh::ToGeData(c.b));
        for (const CKrSolidBoolean* s : {&sol, &copied}) {
            EXPECT_EQ(s->IsAClassified(), c.aOk) << c.aOk << c.bOk;
            EXPECT_EQ(s->IsBClassified(), c.bOk) << c.aOk << c.bOk;
        }
        EXPECT_EQ(sol.IsClassified(), c.aOk && c.bOk);
    }
    for (int f : {0, 1, 6}) EXPECT_FALSE(Lines(kFiles[f]).empty()) << kFiles[f];
    CKrSolidBoolean copied(testmesh::ToGeData(a), testmesh::ToGeData(b));
    CKrMeshData r;
    testmesh::Load(r, a);
    for (int op = 0; op < 4; ++op) {
        EXPECT_TRUE(Compose(copied, op, r));
        EXPECT_EQ(r.TriNum(), 0) << op;
        EXPECT_TRUE(r.m_setVer.empty()) << op;
    }
}

}  // namespace
