// This library's TIN against CGAL's 2D Delaunay triangulation, one case per
// process so that the peak memory (getrusage) is that of the case alone:
//
//   tin_peers --lib ours|cgal --case NAME [--data DIR]
//
// Cases: u100k, u1m (uniform random points in projected survey coordinates,
// one point per 100 m^2), u1m_lines (u1m with 100 breaklines of 10 points),
// jacksboro (the bundled sample terrain), q1m_random and q1m_grid (the u1m
// TIN, then 1,000,000 elevation queries at random positions or along the rows
// of a 1000 x 1000 grid). Prints one line of key=value fields; the triangles
// of the result as a checksum over the sorted index triples, so that two
// runs can be compared for the same triangle set. run_tin_peers.sh drives it.
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>

#include "PeerClock.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/tin/KrDelaunay.h"
#include "../TinInputs.h"

namespace {

using peerclock::Clock;
using peerclock::CpuSec;
using peerclock::PeakMB;
using peerclock::Since;

using benchtin::RandomLines;
using benchtin::RandomPoints;

bool ReadXyz(const std::string& path, std::vector<CKrPoint3d>& pts)
{
    std::ifstream in(path);
    double x, y, z;
    while (in >> x >> y >> z) pts.emplace_back(x, y, z);
    return !pts.empty();
}

// Query positions over the box of the points: uniformly random, or the rows
// of a square grid (each query near the one before).
std::vector<std::pair<double, double>> Queries(const std::vector<CKrPoint3d>& pts, bool grid)
{
    double x0 = pts[0].x, x1 = x0, y0 = pts[0].y, y1 = y0;
    for (const CKrPoint3d& p : pts) {
        x0 = std::min(x0, p.x);
        x1 = std::max(x1, p.x);
        y0 = std::min(y0, p.y);
        y1 = std::max(y1, p.y);
    }
    std::vector<std::pair<double, double>> q;
    q.reserve(1000000);
    if (grid) {
        for (int j = 0; j < 1000; ++j)
            for (int i = 0; i < 1000; ++i)
                q.emplace_back(x0 + (x1 - x0) * (i + 0.5) / 1000.0, y0 + (y1 - y0) * (j + 0.5) / 1000.0);
    } else {
        std::mt19937_64 rng(99);
        std::uniform_real_distribution<double> ux(x0, x1), uy(y0, y1);
        for (int i = 0; i < 1000000; ++i) {
            const double x = ux(rng), y = uy(rng);
            q.emplace_back(x, y);
        }
    }
    return q;
}

// ---------------------------------------------------------------------------
// Results

struct Result {
    std::size_t vertices = 0;
    std::size_t triangles = 0;
    uint64_t checksum = 0;  // of the sorted index triples; 0 when not formed
    double addSec = 0.0;    // ours: registering the points
    double buildSec = 0.0;  // everything from the points to the finished triangulation
    double querySec = 0.0;
    std::size_t hits = 0;
    double zSum = 0.0;
};

// FNV-1a over the triangles as input-index triples, each rotated to start at
// its smallest index (winding kept), in sorted order.
uint64_t Checksum(std::vector<std::array<uint32_t, 3>>& tris)
{
    for (auto& t : tris) std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
    std::sort(tris.begin(), tris.end());
    uint64_t h = 1469598103934665603ull;
    for (const auto& t : tris)
        for (uint32_t v : t)
            for (int b = 0; b < 4; ++b) {
                h ^= (v >> (8 * b)) & 0xFFu;
                h *= 1099511628211ull;
            }
    return h;
}

double PlaneZ(const CKrPoint3d& a, const CKrPoint3d& b, const CKrPoint3d& c, double x, double y)
{
    const double d = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
    const double s = ((x - a.x) * (c.y - a.y) - (y - a.y) * (c.x - a.x)) / d;
    const double t = ((b.x - a.x) * (y - a.y) - (b.y - a.y) * (x - a.x)) / d;
    return a.z + s * (b.z - a.z) + t * (c.z - a.z);
}

// ---------------------------------------------------------------------------
// Ours

Result RunOurs(const std::vector<CKrPoint3d>& pts, const std::vector<std::vector<CKrPoint3d>>& lines,
               const std::vector<std::pair<double, double>>* queries, bool triples)
{
    Result r;
    TesTriMesh::CKrMeshData mesh;
    const auto t0 = Clock::now();
    {
        TesTriMesh::CKrDelaunay tin(mesh, 0.01);
        tin.SetFullHull(true);
        for (std::size_t i = 0; i < pts.size(); ++i) tin.AddVertex(pts[i], static_cast<int>(i));
        r.addSec = Since(t0);
        for (const auto& l : lines) tin.AddSegYS(l, false, false);
        if (!tin.Delaunay()) {
            std::fprintf(stderr, "tin_peers: our triangulation failed\n");
            std::exit(1);
        }
    }
    r.buildSec = Since(t0);
    r.vertices = mesh.m_setVer.size();
    r.triangles = mesh.m_setTri.size();
    if (triples) {
        std::vector<std::array<uint32_t, 3>> tris;
        tris.reserve(r.triangles);
        for (const TesTriMesh::_sTri* t : mesh.m_setTri)
            tris.push_back({static_cast<uint32_t>(t->pVer[0]->nID), static_cast<uint32_t>(t->pVer[1]->nID),
                            static_cast<uint32_t>(t->pVer[2]->nID)});
        r.checksum = Checksum(tris);
    }
    if (queries) {
        const auto q0 = Clock::now();
        TesTriMesh::CKrMeshQuery query(mesh);
        for (const auto& q : *queries) {
            double z = 0.0;
            if (query.GetMapPoint(q.first, q.second, z)) {
                ++r.hits;
                r.zSum += z;
            }
        }
        r.querySec = Since(q0);
    }
    return r;
}

// ---------------------------------------------------------------------------
// CGAL

using K = CGAL::Exact_predicates_inexact_constructions_kernel;
using Vb = CGAL::Triangulation_vertex_base_with_info_2<uint32_t, K>;
using Tds = CGAL::Triangulation_data_structure_2<Vb>;
using DT = CGAL::Delaunay_triangulation_2<K, Tds>;
using CFb = CGAL::Constrained_triangulation_face_base_2<K>;
using CTds = CGAL::Triangulation_data_structure_2<Vb, CFb>;
using CDT = CGAL::Constrained_Delaunay_triangulation_2<K, CTds, CGAL::Exact_predicates_tag>;

Result RunCgal(const std::vector<CKrPoint3d>& pts, const std::vector<std::vector<CKrPoint3d>>& lines,
               const std::vector<std::pair<double, double>>* queries, bool grid, bool triples)
{
    Result r;
    if (!lines.empty()) {
        std::vector<K::Point_2> in;
        in.reserve(pts.size());
        for (const CKrPoint3d& p : pts) in.emplace_back(p.x, p.y);
        const auto t0 = Clock::now();
        CDT cdt;
        cdt.insert(in.begin(), in.end());
        for (const auto& l : lines) {
            std::vector<K::Point_2> pl;
            for (const CKrPoint3d& p : l) pl.emplace_back(p.x, p.y);
            cdt.insert_constraint(pl.begin(), pl.end());
        }
        r.buildSec = Since(t0);
        r.vertices = cdt.number_of_vertices();
        r.triangles = cdt.number_of_faces();
        return r;
    }
    std::vector<std::pair<K::Point_2, uint32_t>> in;
    in.reserve(pts.size());
    for (std::size_t i = 0; i < pts.size(); ++i) in.emplace_back(K::Point_2(pts[i].x, pts[i].y), static_cast<uint32_t>(i));
    const auto t0 = Clock::now();
    DT dt;
    dt.insert(in.begin(), in.end());
    r.buildSec = Since(t0);
    r.vertices = dt.number_of_vertices();
    r.triangles = dt.number_of_faces();
    if (triples) {
        std::vector<std::array<uint32_t, 3>> tris;
        tris.reserve(r.triangles);
        for (auto f = dt.finite_faces_begin(); f != dt.finite_faces_end(); ++f)
            tris.push_back({f->vertex(0)->info(), f->vertex(1)->info(), f->vertex(2)->info()});
        r.checksum = Checksum(tris);
    }
    if (queries) {
        // Random positions: the walk starts at a vertex of the query's cell
        // in a coarse grid of the vertices (about 16 a cell), built here, as
        // a walk from the previous answer crosses half the triangulation each
        // time. Grid scan: from the previous answer, the usual hint.
        const auto q0 = Clock::now();
        DT::Face_handle hint;
        std::vector<DT::Face_handle> cells;
        double gx = 0.0, gy = 0.0, gs = 1.0;
        std::size_t side = 0;
        if (!grid) {
            const auto& lo = dt.finite_vertices_begin()->point();
            double x0 = lo.x(), y0 = lo.y(), x1 = x0, y1 = y0;
            for (auto v = dt.finite_vertices_begin(); v != dt.finite_vertices_end(); ++v) {
                x0 = std::min(x0, v->point().x());
                x1 = std::max(x1, v->point().x());
                y0 = std::min(y0, v->point().y());
                y1 = std::max(y1, v->point().y());
            }
            side = std::max<std::size_t>(1, static_cast<std::size_t>(std::sqrt(dt.number_of_vertices() / 16.0)));
            gx = x0;
            gy = y0;
            gs = std::max(x1 - x0, y1 - y0) / static_cast<double>(side) * (1.0 + 1e-12);
            cells.assign(side * side, DT::Face_handle());
            for (auto v = dt.finite_vertices_begin(); v != dt.finite_vertices_end(); ++v) {
                const auto i = std::min(side - 1, static_cast<std::size_t>((v->point().x() - gx) / gs));
                const auto j = std::min(side - 1, static_cast<std::size_t>((v->point().y() - gy) / gs));
                cells[j * side + i] = v->face();
            }
        }
        for (const auto& q : *queries) {
            if (!grid) {
                const double fi = (q.first - gx) / gs, fj = (q.second - gy) / gs;
                if (fi >= 0.0 && fj >= 0.0) {
                    const auto i = std::min(side - 1, static_cast<std::size_t>(fi));
                    const auto j = std::min(side - 1, static_cast<std::size_t>(fj));
                    if (cells[j * side + i] != DT::Face_handle()) hint = cells[j * side + i];
                }
            }
            const DT::Face_handle f = dt.locate(K::Point_2(q.first, q.second), hint);
            if (f == DT::Face_handle() || dt.is_infinite(f)) continue;
            hint = f;
            ++r.hits;
            r.zSum += PlaneZ(pts[f->vertex(0)->info()], pts[f->vertex(1)->info()], pts[f->vertex(2)->info()], q.first,
                             q.second);
        }
        r.querySec = Since(q0);
    }
    return r;
}

int Usage()
{
    std::fprintf(stderr,
                 "usage: tin_peers --lib ours|cgal --case u100k|u1m|u1m_lines|jacksboro|q1m_random|q1m_grid "
                 "[--data DIR]\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv)
{
    std::string lib, name, data = KRTES_DATA_DIR;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--lib")) lib = argv[i + 1];
        else if (!std::strcmp(argv[i], "--case")) name = argv[i + 1];
        else if (!std::strcmp(argv[i], "--data")) data = argv[i + 1];
        else return Usage();
    }
    if ((lib != "ours" && lib != "cgal") || name.empty()) return Usage();

    std::vector<CKrPoint3d> pts;
    std::vector<std::vector<CKrPoint3d>> lines;
    std::vector<std::pair<double, double>> queries;
    bool triples = false;
    if (name == "u100k") {
        pts = RandomPoints(100000);
        triples = true;
    } else if (name == "u1m" || name == "q1m_random" || name == "q1m_grid") {
        pts = RandomPoints(1000000);
        if (name != "u1m") queries = Queries(pts, name == "q1m_grid");
    } else if (name == "u1m_lines") {
        pts = RandomPoints(1000000);
        lines = RandomLines(1000000, 100);
    } else if (name == "jacksboro") {
        const std::string path = data + "/jacksboro_scattered.xyz";
        if (!ReadXyz(path, pts)) {
            std::fprintf(stderr, "tin_peers: %s: no points\n", path.c_str());
            return 1;
        }
        triples = true;
    } else {
        return Usage();
    }

    const std::vector<std::pair<double, double>>* q = queries.empty() ? nullptr : &queries;
    const Result r = lib == "ours" ? RunOurs(pts, lines, q, triples) : RunCgal(pts, lines, q, name == "q1m_grid", triples);
    std::printf("lib=%s case=%s points=%zu vertices=%zu triangles=%zu build_s=%.3f add_s=%.3f", lib.c_str(),
                name.c_str(), pts.size(), r.vertices, r.triangles, r.buildSec, r.addSec);
    if (q) std::printf(" query_s=%.3f hits=%zu zsum=%.6e", r.querySec, r.hits, r.zSum);
    if (triples) std::printf(" tris=%016llx", static_cast<unsigned long long>(r.checksum));
    std::printf(" peak_mb=%.1f\n", PeakMB());
    return 0;
}
