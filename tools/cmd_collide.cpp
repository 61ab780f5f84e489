// krtes collide: whether two meshes touch, and how close they come.
#include <cstdio>
#include <memory>
#include <string>

#include "KrTesCommands.h"
#include "KrTesGeometry/collision/KrCollision.h"
#include "KrTesGeometry/geom/KrTri3d.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"

namespace krtes {

namespace {

struct CollideArgs {
    std::string files[2];
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

int RunCollide(const CollideArgs& a, Report& r)
{
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
        "Prints the closest distance found and the pair of triangles giving it (triangles that\n"
        "do not meet are measured between their centroids).\n\n"
        "Examples:\n"
        "  krtes collide pit.obj dump.stl\n"
        "  krtes collide pit.obj dump.stl --json",
        [a](Report& r) { return RunCollide(*a, r); });
    AddFile(c, "A", a->files[0], "First mesh (.obj, .ply or .stl)", true);
    AddFile(c, "B", a->files[1], "Second mesh (.obj, .ply or .stl)", true);
}

}  // namespace krtes
