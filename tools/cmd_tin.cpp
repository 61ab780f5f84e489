// krtes tin: survey points, breaklines, outline and holes to a TIN.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/tin/KrDelaunay.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace krtes {

int CmdTin(int argc, char** argv)
{
    std::string points, breaklines, outline, holes, out;
    bool split = false;
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--breaklines") {
            if (!NextValue(argc, argv, i, breaklines)) return Fail("--breaklines needs a file");
        } else if (a == "--outline") {
            if (!NextValue(argc, argv, i, outline)) return Fail("--outline needs a file");
        } else if (a == "--holes") {
            if (!NextValue(argc, argv, i, holes)) return Fail("--holes needs a file");
        } else if (a == "-o" || a == "--output") {
            if (!NextValue(argc, argv, i, out)) return Fail("-o needs a file");
        } else if (a == "--split-crossings") {
            split = true;
        } else if (!a.empty() && a[0] == '-') {
            return Fail("tin: unknown option '" + a + "' (see krtes --help)");
        } else if (points.empty()) {
            points = a;
        } else {
            return Fail("tin: more than one POINTS file given");
        }
    }
    if (!out.empty()) {
        const std::string ext = krtes::Extension(out);
        if (ext != ".obj" && ext != ".ply") return Fail(out + ": unknown output format (use .obj or .ply)");
    }
    if (points.empty()) points = SamplePoints();

    Timer timer;
    std::string err;
    std::vector<CKrPoint3d> pts;
    if (!krtes::ReadPointFile(points, pts, err)) return Fail(err);
    std::vector<std::vector<CKrPoint3d>> brk, outl, hol;
    if (!breaklines.empty() && !krtes::ReadPolylineFile(breaklines, brk, 2, err)) return Fail(err);
    if (!outline.empty()) {
        if (!krtes::ReadPolylineFile(outline, outl, 3, err)) return Fail(err);
        if (outl.size() != 1) return Fail(outline + ": an outline file holds exactly one polyline, found " +
                                          std::to_string(outl.size()));
    }
    if (!holes.empty() && !krtes::ReadPolylineFile(holes, hol, 3, err)) return Fail(err);
    const double readTime = timer.Seconds();

    TesTriMesh::CKrMeshData mesh;
    std::size_t used = 0;
    {
        TesTriMesh::CKrDelaunay tin(mesh, 0.01);
        tin.SetFullHull(true);  // a survey surface covers the hull of its points
        for (const CKrPoint3d& p : pts) tin.AddVertex(p);
        used = mesh.m_setVer.size();  // duplicates within the tolerance count once
        for (const auto& l : brk) {
            const bool closed = l.size() > 2 && l.front() == l.back();
            std::vector<CKrPoint3d> pl(l.begin(), closed ? l.end() - 1 : l.end());
            tin.AddSegYS(pl, closed, false);
        }
        if (!outl.empty()) tin.SetOutline(outl[0]);
        for (const auto& h : hol) tin.AddHoleLine(h);
        tin.SetIsCheckYS(split);
        if (used < 3) return Fail(points + ": fewer than 3 usable points (" + std::to_string(used) + ")");

        const bool tty = isatty(STDERR_FILENO) != 0;
        if (tty) {
            tin.SetProgress([](std::size_t done, std::size_t total) {
                std::fprintf(stderr, "\rtriangulating: %3d%%", static_cast<int>(100.0 * done / std::max<std::size_t>(total, 1)));
                std::fflush(stderr);
            });
        }
        const bool ok = tin.Delaunay();
        if (tty) std::fprintf(stderr, "\r%24s\r", "");
        if (!ok) return Fail(points + ": the points could not be triangulated (all collinear?)");
    }
    const double tinTime = timer.Seconds() - readTime;

    std::vector<CKrPoint3d> vout;
    std::vector<KrTesGeo::_sTri_ID> tout;
    mesh.OutputData(vout, tout);
    const CKrPoint3d lo = mesh.GetMinLimit(), hi = mesh.GetMaxLimit();
    std::printf("points read   %zu (%zu distinct)\n", pts.size(), used);
    std::printf("vertices      %zu\n", vout.size());
    std::printf("triangles     %zu\n", tout.size());
    std::printf("extent        x %.3f .. %.3f\n              y %.3f .. %.3f\n              z %.3f .. %.3f\n",
                lo.x, hi.x, lo.y, hi.y, lo.z, hi.z);
    if (!out.empty()) {
        if (!krtes::WriteMeshFile(out, vout, tout, err)) return Fail(err);
        std::printf("written       %s\n", out.c_str());
    }
    std::printf("time          %.3f s (read %.3f s, triangulate %.3f s)\n", timer.Seconds(), readTime, tinTime);
    return 0;
}

}  // namespace krtes
