// A host program that only knows the installed package.
#include <KrTesGeometry.h>

#include <cstdio>

int main()
{
    CKrPoint3d a(1.0, 2.0, 3.0), b(4.0, 6.0, 3.0);
    if (a.Distance(b) != 5.0) return 1;
    if (TESCommFunc::TesCompDouble(1.0, 1.0 + 1e-7, 1e-6) != 0) return 2;
    CGeDataTriMesh mesh;
    mesh.AddPoint(0, 0, 0);
    mesh.AddPoint(1, 0, 0);
    mesh.AddPoint(0, 1, 0);
    mesh.AddTri(0, 1, 2);
    if (!mesh.IsValid()) return 3;
    std::printf("consumer ok: distance %.1f, %d triangle(s)\n", a.Distance(b), mesh.GetTriCount());
    return 0;
}
