// krtes collide: whether two meshes touch, and how close they come.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/collision/KrCollision.h"
#include "KrTesGeometry/collision/KrMeshContact.h"
#include "KrTesGeometry/geom/KrTri3d.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"

namespace krtes {

namespace {

struct CollideArgs {
    std::string files[2];
    bool pairwise = false;  // the pairwise check of CCollision and its report
};

std::string TriText(const CKrTri3d& t)
{
    std::string s;
    char buf[128];
    for (int k = 0; k < 3; ++k) {
        std::snprintf(buf, sizeof buf, " (%.6f %.6f %.6f)", t.m_pt[k].x, t.m_pt[k].y, t.m_pt[k].z);
        s += buf;
    }
    return s;
}

nlohmann::json TriJson(const CKrTri3d& t)
{
    return nlohmann::json::array({Xyz(t.m_pt[0]), Xyz(t.m_pt[1]), Xyz(t.m_pt[2])});
}

// The exact contact test and the true gap between the two surfaces.
int RunContact(const CollideArgs& a, Report& r)
{
    Progress& progress = r.Progress();
    Timer timer;
    std::string err;
    std::vector<CKrPoint3d> pts[2];
    std::vector<KrTesGeo::_sTri_ID> tris[2];
    TesTriMesh::CKrMeshContact mesh[2];
    for (int k = 0; k < 2; ++k) {
        progress.Step("reading " + a.files[k]);
        if (!ReadMeshFile(a.files[k], pts[k], tris[k], err)) return r.Fail(err);
        if (!mesh[k].Build(pts[k], tris[k])) return r.Fail(a.files[k] + ": " + mesh[k].Error());
    }
    const double readTime = timer.Seconds();

    progress.Step("measuring");
    const TesTriMesh::CKrMeshDistance d = mesh[0].Distance(mesh[1]);
    if (d.triA < 0 || d.triB < 0) return r.Fail("nothing could be measured (no triangle in a mesh?)");
    const double checkTime = timer.Seconds() - readTime;
    progress.Clear();

    CKrTri3d t[2];
    mesh[0].GetTriangle(d.triA, t[0].m_pt[0], t[0].m_pt[1], t[0].m_pt[2]);
    mesh[1].GetTriangle(d.triB, t[1].m_pt[0], t[1].m_pt[1], t[1].m_pt[2]);
    for (int k = 0; k < 2; ++k) {
        r[k ? "b" : "a"] = {{"file", a.files[k]}, {"triangles", tris[k].size()}, {"closed", mesh[k].IsClosed()}};
        r.Line("%s             %s (%zu triangles%s)", k ? "B" : "A", a.files[k].c_str(), tris[k].size(),
               mesh[k].IsClosed() ? ", closed" : "");
    }
    r["touching"] = d.contact;
    r["distance"] = d.distance;
    r["distance_between"] = "surfaces";
    r["closest_points"] = {{"a", Xyz(d.ptA)}, {"b", Xyz(d.ptB)}};
    r["closest_pair"] = {{"a", TriJson(t[0])}, {"b", TriJson(t[1])}, {"triangle_a", d.triA}, {"triangle_b", d.triB}};
    r.Line("touching      %s", d.contact ? "yes" : "no");
    r.Line("distance      %.6f", d.distance);
    r.Line("closest A     (%.6f %.6f %.6f) on triangle %d", d.ptA.x, d.ptA.y, d.ptA.z, static_cast<int>(d.triA));
    r.Line("closest B     (%.6f %.6f %.6f) on triangle %d", d.ptB.x, d.ptB.y, d.ptB.z, static_cast<int>(d.triB));
    r.Line("closest pair  A%s", TriText(t[0]).c_str());
    r.Line("              B%s", TriText(t[1]).c_str());
    const double total = timer.Seconds();
    r["time"] = {{"total", total}, {"read", readTime}, {"check", checkTime}};
    r.Line("time          %.3f s (read %.3f s, check %.3f s)", total, readTime, checkTime);
    return r.Done();
}

int RunCollide(const CollideArgs& a, Report& r)
{
    if (!a.pairwise) return RunContact(a, r);
    Progress& progress = r.Progress();
    Timer timer;
    std::string err;
    CGeDataTriMesh mesh[2];
    for (int k = 0; k < 2; ++k) {
        progress.Step("reading " + a.files[k]);
        if (!ReadMeshFile(a.files[k], mesh[k], err)) return r.Fail(err);
    }
    const double readTime = timer.Seconds();

    progress.Step("checking");
    TesTriMesh::CCollision c;
    if (!c.CollisionCheck(mesh[0], mesh[1]))
        return r.Fail("nothing could be measured (no triangle with three distinct corners?)");
    const double checkTime = timer.Seconds() - readTime;

    CKrTri3d ta, tb;
    c.GetClosePair(ta, tb);
    for (int k = 0; k < 2; ++k) {
        r[k ? "b" : "a"] = {{"file", a.files[k]}, {"triangles", mesh[k].GetTriCount()}};
        r.Line("%s             %s (%d triangles)", k ? "B" : "A", a.files[k].c_str(), mesh[k].GetTriCount());
    }
    r["touching"] = c.IsColl();
    r["distance"] = c.DistClose();
    // Pairs that do not meet are measured between their centroids.
    r["distance_between"] = c.IsColl() ? "surfaces" : "centroids";
    r["closest_pair"] = {{"a", TriJson(ta)}, {"b", TriJson(tb)}};
    r.Line("touching      %s", c.IsColl() ? "yes" : "no");
    if (c.IsColl())
        r.Line("distance      %.6f", c.DistClose());
    else
        r.Line("distance      %.6f (between the centroids of the closest pair)", c.DistClose());
    r.Line("closest pair  A%s", TriText(ta).c_str());
    r.Line("              B%s", TriText(tb).c_str());
    const double total = timer.Seconds();
    r["time"] = {{"total", total}, {"read", readTime}, {"check", checkTime}};
    r.Line("time          %.3f s (read %.3f s, check %.3f s)", total, readTime, checkTime);
    return r.Done();
}

}  // namespace

void AddCollide(Cli& cli)
{
    auto a = std::make_shared<CollideArgs>();
    CLI::App* c = cli.Add(
        "collide", "Whether two meshes touch, and how close they come",
        "Decides exactly whether the two surfaces touch or cross, and prints the true distance\n"
        "between them (0 when they meet), the closest points and the triangles they lie on.\n"
        "--pairwise gives the older pairwise report instead: the closest pair of triangles,\n"
        "those that do not meet measured between their centroids.\n\n"
        "Examples:\n"
        "  krtes collide pit.obj dump.stl\n"
        "  krtes collide pit.obj dump.stl --json\n"
        "  krtes collide pit.obj dump.stl --pairwise",
        [a](Report& r) { return RunCollide(*a, r); });
    AddFile(c, "A", a->files[0], "First mesh (.obj, .ply or .stl)", true);
    AddFile(c, "B", a->files[1], "Second mesh (.obj, .ply or .stl)", true);
    c->add_flag("--pairwise", a->pairwise,
                "The pairwise check's report: the closest pair, apart pairs measured between centroids");
}

}  // namespace krtes
