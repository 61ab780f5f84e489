// krtes collide: whether two meshes touch, and how close they come.
#include <cstdio>
#include <string>

#include "KrTesCommands.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/collision/KrCollision.h"
#include "KrTesGeometry/geom/KrTri3d.h"
#include "KrTesGeometry/math/CGeDataTriMesh.h"

namespace krtes {

namespace {

void PrintTri(const char* label, const CKrTri3d& t)
{
    std::printf("%s", label);
    for (int k = 0; k < 3; ++k) std::printf(" (%.6f %.6f %.6f)", t.m_pt[k].x, t.m_pt[k].y, t.m_pt[k].z);
    std::printf("\n");
}

}  // namespace

int CmdCollide(int argc, char** argv)
{
    std::string files[2];
    int n = 0;
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        if (!a.empty() && a[0] == '-') return Fail("collide: unknown option '" + a + "' (see krtes --help)");
        if (n == 2) return Fail("collide: too many arguments (A B)");
        files[n++] = a;
    }
    if (n < 2) return Fail("collide: usage: krtes collide A B (two .obj, .ply or .stl meshes)");

    Timer timer;
    std::string err;
    CGeDataTriMesh mesh[2];
    for (int k = 0; k < 2; ++k)
        if (!ReadMeshFile(files[k], mesh[k], err)) return Fail(err);
    const double readTime = timer.Seconds();

    TesTriMesh::CCollision c;
    if (!c.CollisionCheck(mesh[0], mesh[1]))
        return Fail("collide: nothing could be measured (no triangle with three distinct corners?)");
    const double checkTime = timer.Seconds() - readTime;

    CKrTri3d ta, tb;
    c.GetClosePair(ta, tb);
    for (int k = 0; k < 2; ++k)
        std::printf("%s             %s (%d triangles)\n", k ? "B" : "A", files[k].c_str(), mesh[k].GetTriCount());
    std::printf("touching      %s\n", c.IsColl() ? "yes" : "no");
    if (c.IsColl())
        std::printf("distance      %.6f\n", c.DistClose());
    else  // pairs that do not meet are measured between their centroids
        std::printf("distance      %.6f (between the centroids of the closest pair)\n", c.DistClose());
    PrintTri("closest pair  A", ta);
    PrintTri("              B", tb);
    std::printf("time          %.3f s (read %.3f s, check %.3f s)\n", timer.Seconds(), readTime, checkTime);
    return 0;
}

}  // namespace krtes
