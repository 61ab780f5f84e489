// krtes drape: polylines laid onto the surface.
#include <charconv>
#include <cstdio>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace krtes {

namespace {

}  // namespace

int CmdDrape(int argc, char** argv)
{
    std::string surface, lines, out;
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-o" || a == "--output") {
            if (i + 1 >= argc) return Fail("-o needs a file");
            out = argv[++i];
        } else if (!a.empty() && a[0] == '-') {
            return Fail("drape: unknown option '" + a + "' (see krtes --help)");
        } else if (surface.empty()) {
            surface = a;
        } else if (lines.empty()) {
            lines = a;
        } else {
            return Fail("drape: too many arguments (SURFACE LINES)");
        }
    }
    if (surface.empty() || lines.empty())
        return Fail("drape: SURFACE and LINES are needed (usage: krtes drape SURFACE LINES [-o OUT])");

    Timer timer;
    std::string err, how;
    TesTriMesh::CKrMeshData mesh;
    if (!ReadSurfaceFile(surface, mesh, how, err)) return Fail(err);
    std::vector<std::vector<CKrPoint3d>> input;
    if (!ReadPolylineFile(lines, input, 2, err)) return Fail(err);

    TesTriMesh::CKrMeshQuery q(mesh);
    std::string buf = "# " + lines + " draped onto " + surface +
                      ": one block of x y z lines per piece; a closed piece repeats its first point\n";
    std::size_t pieces = 0, vertices = 0, missed = 0;
    for (std::size_t i = 0; i < input.size(); ++i) {
        std::vector<CKrPoint3d> pl = input[i];
        // A line whose last point repeats its first is a ring.
        const bool closed = pl.size() > 2 && pl.front() == pl.back();
        if (closed) pl.pop_back();
        std::vector<CKrPolyLine> draped;
        if (!q.GetMapPolyline(pl, closed, draped)) {
            ++missed;
            buf += "\n# line " + std::to_string(i + 1) + ": off the surface\n";
            continue;
        }
        for (std::size_t k = 0; k < draped.size(); ++k) {
            const CKrPolyLine& d = draped[k];
            buf += "\n# line " + std::to_string(i + 1) + ", piece " + std::to_string(k + 1) + " of " +
                   std::to_string(draped.size()) + (d.IsClosed() ? " (closed)" : "") + "\n";
            for (const CKrPoint3d& p : d.GetVerts()) AppendPoint(buf, p);
            if (d.IsClosed() && d.NumVerts() > 0) AppendPoint(buf, d.GetVerts().front());
            ++pieces;
            vertices += d.NumVerts();
        }
    }

    if (!WriteTextOutput(out, buf, err)) return Fail(err);
    std::FILE* report = out.empty() ? stderr : stdout;  // keep the data on stdout clean
    std::fprintf(report, "surface       %s (%s)\n", surface.c_str(), how.c_str());
    std::fprintf(report, "lines         %zu\n", input.size());
    std::fprintf(report, "pieces        %zu (%zu vertices)\n", pieces, vertices);
    std::fprintf(report, "off surface   %zu line(s)\n", missed);
    if (!out.empty()) std::fprintf(report, "written       %s\n", out.c_str());
    std::fprintf(report, "time          %.3f s\n", timer.Seconds());
    return 0;
}

}  // namespace krtes
