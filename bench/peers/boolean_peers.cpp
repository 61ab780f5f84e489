// This library's solid booleans against CGAL's corefinement booleans, one case
// per process so that the peak memory (getrusage) is that of the case alone:
//
//   boolean_peers --lib ours|tolerant|cgal --case s20k|s100k|s200k|bumpy
//
// The pairs are bench_boolean's: latitude-longitude spheres of radius 1000
// and 900 (centres 1,025 apart) of 100, 224 or 317 rings and slices (19,800,
// 99,904 or 200,344 triangles each), and the bumpy solid of 5,120 triangles
// against its copy turned 30 degrees about the vertical axis.
//
// ours: the default (exact) cut; tolerant: the same with the tolerant cut. The
// construction of CKrSolidBoolean (both cuts and both sorts) is timed, then
// each of the four operations on that one object. cgal: a Surface_mesh with
// the kernel of exact predicates and inexact constructions; each of the four
// corefine_and_compute_* runs on fresh copies of both inputs (corefinement
// cuts its inputs), and corefine_and_compute_boolean_operations once more for
// all four results from one corefinement. Loading the inputs and copying them
// are not timed.
//
// Prints one line of key=value fields: wall and processor times, the peak
// memory, the volume of both inputs and of each result, and for each result
// whether it is closed, its faulty edges and how many triangles it has, so that
// run_boolean_peers.sh can compare the answers.
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Polygon_mesh_processing/corefinement.h>
#include <CGAL/Polygon_mesh_processing/measure.h>
#include <CGAL/Surface_mesh.h>
#include <CGAL/boost/graph/helpers.h>

#include "../BooleanSolids.h"
#include "PeerClock.h"
#include "KrTesGeometry/boolean/KrMeshBoolean.h"
#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"

namespace {

using peerclock::Clock;
using peerclock::CpuSec;
using peerclock::PeakMB;
using peerclock::Since;

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Mesh = CGAL::Surface_mesh<Kernel::Point_3>;
namespace PMP = CGAL::Polygon_mesh_processing;

struct Solid {
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> ids;
};

bool MakeCase(const std::string& name, Solid& a, Solid& b)
{
    int n = 0;
    if (name == "s20k") n = 100;
    else if (name == "s100k") n = 224;
    else if (name == "s200k") n = 317;
    if (n > 0) {
        benchsolid::Sphere(0, 0, 0, 1000.0, n, n, a.pts, a.ids);
        benchsolid::Sphere(900, 350, 250, 900.0, n, n, b.pts, b.ids);
        return true;
    }
    if (name == "bumpy") {
        benchsolid::Bumpy(0.0, a.pts, a.ids);
        benchsolid::Bumpy(30.0 * 3.141592653589793 / 180.0, b.pts, b.ids);
        return true;
    }
    return false;
}

// Times of one step: wall and processor seconds.
struct Timer {
    Clock::time_point t0 = Clock::now();
    double c0 = CpuSec();
    void Stop(double& wall, double& cpu) const
    {
        wall = Since(t0);
        cpu = CpuSec() - c0;
    }
};

// One result: its time, volume, whether it is closed (and if not, its
// edges with a triangle on one side only or on more than two), its triangles.
struct Op {
    double wall = 0, cpu = 0, volume = 0;
    bool closed = false;
    long open = 0, tris = 0;
};

const char* const kOpNames[4] = {"union", "inter", "amb", "bma"};

struct Run {
    double cutWall = 0, cutCpu = 0;  // ours: the construction
    double allWall = 0, allCpu = 0;  // cgal: all four from one corefinement
    bool classified = true;          // ours: both sorts succeeded
    bool allOk = true;               // cgal: the four-in-one call's results
    std::array<Op, 4> op;
};

Run RunOurs(const Solid& sa, const Solid& sb)
{
    Run r;
    TesTriMesh::CKrMeshData a(0.01), b(0.01);
    a.InputData(sa.pts, sa.ids, true);
    b.InputData(sb.pts, sb.ids, true);
    Timer t;
    TesTriMesh::CKrSolidBoolean solid(a, b);
    t.Stop(r.cutWall, r.cutCpu);
    r.classified = solid.IsClassified();
    using OpFn = bool (TesTriMesh::CKrSolidBoolean::*)(TesTriMesh::CKrMeshData&);
    const OpFn fns[4] = {&TesTriMesh::CKrSolidBoolean::Union_A_And_B, &TesTriMesh::CKrSolidBoolean::Intersect_A_And_B,
                         &TesTriMesh::CKrSolidBoolean::Diference_A_And_B,
                         &TesTriMesh::CKrSolidBoolean::Diference_B_And_A};
    for (int k = 0; k < 4; ++k) {
        TesTriMesh::CKrMeshData result(0.01);
        Timer to;
        (solid.*fns[k])(result);
        Op& o = r.op[k];
        to.Stop(o.wall, o.cpu);
        o.volume = TesTriMesh::SolidVolume(result);
        const TesTriMesh::SKrSolidCheck check = TesTriMesh::CheckClosedSolid(result);
        o.closed = check.IsClosed();
        o.open = static_cast<long>(check.openEdges + check.overSharedEdges);
        o.tris = result.TriNum();
    }
    return r;
}

Mesh ToCgal(const Solid& s)
{
    Mesh m;
    std::vector<Mesh::Vertex_index> v;
    v.reserve(s.pts.size());
    for (const CKrPoint3d& p : s.pts) v.push_back(m.add_vertex(Kernel::Point_3(p.x, p.y, p.z)));
    for (const auto& t : s.ids)
        if (m.add_face(v[t.nID[0]], v[t.nID[1]], v[t.nID[2]]) == Mesh::null_face()) {
            std::fprintf(stderr, "boolean_peers: CGAL refused a triangle of the input\n");
            std::exit(1);
        }
    return m;
}

void Describe(const Mesh& m, bool ok, Op& o)
{
    o.closed = ok && CGAL::is_closed(m);
    o.open = 0;
    for (const auto h : m.halfedges())
        if (m.is_border(h)) ++o.open;
    o.volume = ok && o.closed ? PMP::volume(m) : 0.0;
    o.tris = static_cast<long>(m.number_of_faces());
}

Run RunCgal(const Solid& sa, const Solid& sb)
{
    Run r;
    const Mesh a = ToCgal(sa), b = ToCgal(sb);
    if (!CGAL::is_closed(a) || !CGAL::is_closed(b)) {
        std::fprintf(stderr, "boolean_peers: an input is not closed for CGAL\n");
        std::exit(1);
    }
    for (int k = 0; k < 4; ++k) {
        Mesh ca = a, cb = b, out;
        Op& o = r.op[k];
        Timer t;
        bool ok = false;
        switch (k) {
            case 0: ok = PMP::corefine_and_compute_union(ca, cb, out); break;
            case 1: ok = PMP::corefine_and_compute_intersection(ca, cb, out); break;
            case 2: ok = PMP::corefine_and_compute_difference(ca, cb, out); break;
            default: ok = PMP::corefine_and_compute_difference(cb, ca, out); break;
        }
        t.Stop(o.wall, o.cpu);
        Describe(out, ok, o);
    }
    Mesh ca = a, cb = b;
    std::array<Mesh, 4> outs;
    std::array<boost::optional<Mesh*>, 4> where;
    for (int k = 0; k < 4; ++k) where[k] = &outs[k];
    Timer t;
    const std::array<bool, 4> ok = PMP::corefine_and_compute_boolean_operations(ca, cb, where);
    t.Stop(r.allWall, r.allCpu);
    // The four-in-one call must give what the separate calls gave.
    for (int k = 0; k < 4; ++k) {
        Op o;
        Describe(outs[k], ok[k], o);
        r.allOk = r.allOk && o.closed == r.op[k].closed && o.tris == r.op[k].tris &&
                  std::fabs(o.volume - r.op[k].volume) <= 1e-12 * std::fabs(r.op[k].volume);
    }
    return r;
}

}  // namespace

int main(int argc, char** argv)
{
    std::string lib, name;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--lib")) lib = argv[i + 1];
        else if (!std::strcmp(argv[i], "--case")) name = argv[i + 1];
    }
    Solid a, b;
    if ((lib != "ours" && lib != "tolerant" && lib != "cgal") || !MakeCase(name, a, b)) {
        std::fprintf(stderr, "usage: boolean_peers --lib ours|tolerant|cgal --case s20k|s100k|s200k|bumpy\n");
        return 2;
    }
    // The construction writes its diagnostic files into the working
    // directory: run in a scratch directory of our own.
    std::string dir = "/tmp/krtes_boolean_peers_XXXXXX";
    if (!mkdtemp(dir.data()) || chdir(dir.c_str()) != 0) {
        std::fprintf(stderr, "boolean_peers: cannot make a scratch directory\n");
        return 1;
    }
    if (lib == "tolerant")
        TesTriMesh::CKrMeshBoolean::SetCutEngine(TesTriMesh::CKrMeshBoolean::CutEngine::kTolerant);
    const Run r = lib == "cgal" ? RunCgal(a, b) : RunOurs(a, b);
    const double peak = PeakMB();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);

    double opsWall = 0, opsCpu = 0;
    for (const Op& o : r.op) {
        opsWall += o.wall;
        opsCpu += o.cpu;
    }
    std::printf("lib=%s case=%s trisA=%zu trisB=%zu vol_a=%.17g vol_b=%.17g", lib.c_str(), name.c_str(), a.ids.size(),
                b.ids.size(), TesTriMesh::SolidVolume(a.pts, a.ids), TesTriMesh::SolidVolume(b.pts, b.ids));
    std::printf(" cut_s=%.4f cut_cpu_s=%.4f ops_s=%.4f ops_cpu_s=%.4f", r.cutWall, r.cutCpu, opsWall, opsCpu);
    if (lib == "cgal")
        std::printf(" all4_s=%.4f all4_cpu_s=%.4f all4_same=%d", r.allWall, r.allCpu, r.allOk ? 1 : 0);
    else
        std::printf(" classified=%d", r.classified ? 1 : 0);
    for (int k = 0; k < 4; ++k) {
        const Op& o = r.op[k];
        std::printf(" %s_s=%.4f %s_cpu_s=%.4f vol_%s=%.17g closed_%s=%d open_%s=%ld tris_%s=%ld", kOpNames[k], o.wall,
                    kOpNames[k], o.cpu, kOpNames[k], o.volume, kOpNames[k], o.closed ? 1 : 0, kOpNames[k], o.open,
                    kOpNames[k], o.tris);
    }
    std::printf(" peak_mb=%.1f\n", peak);
    return 0;
}
