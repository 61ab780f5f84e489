// A host program that only knows the installed package: it builds a TIN and
// asks it for an elevation, through the shared library's exported interface.
#include <KrTesGeometry.h>

#include <cmath>
#include <cstdio>
#include <vector>

int main()
{
    // A sheared grid whose coordinates are exact in binary, so its sides are
    // exactly straight and the whole-hull TIN has 2 * 25 - 2 - 16 triangles.
    std::vector<CKrPoint3d> surveyPoints;
    for (int j = 0; j < 5; ++j)
        for (int i = 0; i < 5; ++i)
            surveyPoints.emplace_back(500000.0 + 50.0 * i + 0.25 * j, 4000000.0 + 50.0 * j, 100.0 + 0.1 * i + 0.2 * j);

    TesTriMesh::CKrMeshData mesh;
    TesTriMesh::CKrDelaunay tin(mesh, 0.01);
    tin.SetFullHull(true);
    for (const CKrPoint3d& p : surveyPoints) tin.AddVertex(p);
    if (!tin.Delaunay()) return 1;

    double z = 0.0;
    const bool on = TesTriMesh::CKrMeshQuery(mesh).GetMapPoint(500120.0, 4000100.0, z);
    // The points lie on a plane: z = 100 + 0.1 * (x - x0 - 0.25 * j) / 50 + 0.2 * j.
    const double j = 2.0, expect = 100.0 + 0.1 * (120.0 - 0.25 * j) / 50.0 + 0.2 * j;
    if (!on || std::fabs(z - expect) > 1e-9) return 2;
    if (TESCommFunc::TesCompDouble(1.0, 1.0 + 1e-7, POINT_EPS) != 0) return 3;

    CGeDataTriMesh out;
    mesh.OutputData(out);
    std::printf("consumer ok: %d points, %d triangles, z %.6f\n", out.GetPointCount(), out.GetTriCount(), z);
    return out.IsValid() && out.GetTriCount() == 32 ? 0 : 4;
}
