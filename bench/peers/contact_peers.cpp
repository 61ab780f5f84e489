// This library's mesh contact and distance against FCL's, one case per process
// so that the peak memory (getrusage) is that of the case alone:
//
//   contact_peers --lib ours|fcl --case NAME [--placements N]
//
// Cases: s20k_touch, s20k_apart, s20k_overlap and the same with s100k: two
// latitude-longitude spheres of radius 1 (20,224 or 99,840 triangles each).
// Sphere B is A mirrored in the plane x = 1 + gap/2 (gap 0, 0.1 or -0.001), so
// that for a zero gap the two share the vertex (1, 0, 0) exactly and touch
// only there; each placement then turns B about the x axis (which keeps that
// vertex and every x coordinate as they are). Both hierarchies are built
// once; every placement runs one contact query and one distance query with
// the placement applied by the library. Prints one line of key=value fields:
// the build time (both meshes; wall and processor), the total times of the contact and distance
// queries, how many placements were found in contact and the sum of the
// distances, for comparing the two answers. run_contact_peers.sh drives it.
#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <fcl/fcl.h>

#include "PeerClock.h"
#include "KrTesGeometry/collision/KrMeshContact.h"

namespace {

using peerclock::Clock;
using peerclock::CpuSec;
using peerclock::PeakMB;
using peerclock::Since;

constexpr double kPi = 3.14159265358979323846;

struct Mesh {
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> ids;
};

// A unit sphere of nLat - 1 rings of nLon points and two poles, outward-facing;
// the equator ring (nLat even) holds (1, 0, 0) exactly.
Mesh Sphere(int nLon, int nLat)
{
    Mesh m;
    m.pts.emplace_back(0.0, 0.0, -1.0);
    for (int j = 1; j < nLat; ++j) {
        const double lat = -0.5 * kPi + kPi * j / nLat;
        const double z = 2 * j == nLat ? 0.0 : std::sin(lat), r = 2 * j == nLat ? 1.0 : std::cos(lat);
        for (int i = 0; i < nLon; ++i) {
            const double lon = 2.0 * kPi * i / nLon;
            m.pts.emplace_back(i == 0 ? r : r * std::cos(lon), i == 0 ? 0.0 : r * std::sin(lon), z);
        }
    }
    m.pts.emplace_back(0.0, 0.0, 1.0);
    const int top = static_cast<int>(m.pts.size()) - 1;
    const auto ring = [nLon](int j, int i) { return 1 + (j - 1) * nLon + i % nLon; };
    for (int i = 0; i < nLon; ++i) m.ids.emplace_back(0, ring(1, i + 1), ring(1, i));
    for (int j = 1; j < nLat - 1; ++j)
        for (int i = 0; i < nLon; ++i) {
            m.ids.emplace_back(ring(j, i), ring(j, i + 1), ring(j + 1, i + 1));
            m.ids.emplace_back(ring(j, i), ring(j + 1, i + 1), ring(j + 1, i));
        }
    for (int i = 0; i < nLon; ++i) m.ids.emplace_back(top, ring(nLat - 1, i), ring(nLat - 1, i + 1));
    return m;
}

// The mirror image in the plane x = 1 + gap / 2 (winding reversed to stay
// outward-facing).
Mesh Mirrored(const Mesh& a, double gap)
{
    Mesh b = a;
    const double twice = 2.0 + gap;
    for (CKrPoint3d& p : b.pts) p.x = twice - p.x;
    for (auto& t : b.ids) std::swap(t.nID[1], t.nID[2]);
    return b;
}

// The turn of placement k about the x axis: rows (1,0,0), (0,c,-s), (0,s,c).
void Turn(int k, int n, double& c, double& s)
{
    const double angle = 2.0 * kPi * (k + 0.5) / n;
    c = std::cos(angle);
    s = std::sin(angle);
}

struct Result {
    double buildSec = 0, buildCpu = 0, collideSec = 0, distSec = 0, distSum = 0;
    int contacts = 0;
};

Result RunOurs(const Mesh& a, const Mesh& b, int n)
{
    Result r;
    auto t0 = Clock::now();
    const double c0 = CpuSec();
    TesTriMesh::CKrMeshContact ma, mb;
    if (!ma.Build(a.pts, a.ids) || !mb.Build(b.pts, b.ids)) {
        std::fprintf(stderr, "contact_peers: build failed: %s%s\n", ma.Error().c_str(), mb.Error().c_str());
        std::exit(1);
    }
    r.buildSec = Since(t0);
    r.buildCpu = CpuSec() - c0;
    std::vector<TesTriMesh::KrRigidTransform> xf(static_cast<std::size_t>(n));
    for (int k = 0; k < n; ++k) {
        double c, s;
        Turn(k, n, c, s);
        xf[k].R[1][1] = c;
        xf[k].R[1][2] = -s;
        xf[k].R[2][1] = s;
        xf[k].R[2][2] = c;
    }
    t0 = Clock::now();
    for (int k = 0; k < n; ++k) r.contacts += ma.Intersects(mb, xf[k]) ? 1 : 0;
    r.collideSec = Since(t0);
    t0 = Clock::now();
    for (int k = 0; k < n; ++k) r.distSum += ma.Distance(mb, xf[k]).distance;
    r.distSec = Since(t0);
    return r;
}

std::shared_ptr<fcl::BVHModel<fcl::OBBRSSd>> FclModel(const Mesh& m)
{
    std::vector<fcl::Vector3d> v;
    v.reserve(m.pts.size());
    for (const CKrPoint3d& p : m.pts) v.emplace_back(p.x, p.y, p.z);
    std::vector<fcl::Triangle> t;
    t.reserve(m.ids.size());
    for (const auto& id : m.ids) t.emplace_back(id.nID[0], id.nID[1], id.nID[2]);
    auto model = std::make_shared<fcl::BVHModel<fcl::OBBRSSd>>();
    model->beginModel(static_cast<int>(t.size()), static_cast<int>(v.size()));
    model->addSubModel(v, t);
    model->endModel();
    return model;
}

Result RunFcl(const Mesh& a, const Mesh& b, int n)
{
    Result r;
    auto t0 = Clock::now();
    const double c0 = CpuSec();
    auto ga = FclModel(a);
    auto gb = FclModel(b);
    r.buildSec = Since(t0);
    r.buildCpu = CpuSec() - c0;
    fcl::CollisionObjectd oa(ga, fcl::Transform3d::Identity());
    std::vector<std::unique_ptr<fcl::CollisionObjectd>> ob;
    for (int k = 0; k < n; ++k) {
        double c, s;
        Turn(k, n, c, s);
        fcl::Transform3d x = fcl::Transform3d::Identity();
        fcl::Matrix3d R;
        R << 1, 0, 0, 0, c, -s, 0, s, c;
        x.linear() = R;
        ob.emplace_back(new fcl::CollisionObjectd(gb, x));
    }
    t0 = Clock::now();
    for (int k = 0; k < n; ++k) {
        fcl::CollisionRequestd req;  // one contact is enough to answer
        fcl::CollisionResultd res;
        fcl::collide(&oa, ob[k].get(), req, res);
        r.contacts += res.isCollision() ? 1 : 0;
    }
    r.collideSec = Since(t0);
    t0 = Clock::now();
    for (int k = 0; k < n; ++k) {
        fcl::DistanceRequestd req(true);  // with the nearest points, as ours gives
        fcl::DistanceResultd res;
        fcl::distance(&oa, ob[k].get(), req, res);
        r.distSum += std::max(0.0, res.min_distance);
    }
    r.distSec = Since(t0);
    return r;
}

}  // namespace

int main(int argc, char** argv)
{
    std::string lib, name;
    int n = 200;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--lib")) lib = argv[i + 1];
        else if (!std::strcmp(argv[i], "--case")) name = argv[i + 1];
        else if (!std::strcmp(argv[i], "--placements")) n = std::atoi(argv[i + 1]);
    }
    const bool big = name.rfind("s100k_", 0) == 0;
    const bool small = name.rfind("s20k_", 0) == 0;
    const std::string kind = name.substr(name.find('_') + 1);
    const double gap = kind == "touch" ? 0.0 : kind == "apart" ? 0.1 : kind == "overlap" ? -0.001 : NAN;
    if ((lib != "ours" && lib != "fcl") || !(big || small) || std::isnan(gap) || n < 1) {
        std::fprintf(stderr,
                     "usage: contact_peers --lib ours|fcl --case s20k_touch|s20k_apart|s20k_overlap|"
                     "s100k_touch|s100k_apart|s100k_overlap [--placements N]\n");
        return 2;
    }
    const Mesh a = big ? Sphere(256, 196) : Sphere(128, 80);
    const Mesh b = Mirrored(a, gap);
    const Result r = lib == "ours" ? RunOurs(a, b, n) : RunFcl(a, b, n);
    std::printf("lib=%s case=%s triangles=%zu placements=%d build_s=%.4f build_cpu_s=%.4f collide_s=%.5f dist_s=%.5f contacts=%d "
                "distsum=%.9g peak_mb=%.1f\n",
                lib.c_str(), name.c_str(), a.ids.size(), n, r.buildSec, r.buildCpu, r.collideSec, r.distSec, r.contacts,
                r.distSum, PeakMB());
    return 0;
}
