// krtes drape: polylines laid onto the surface.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/query/KrMeshQuery.h"

namespace krtes {

namespace {

struct DrapeArgs {
    std::string surface, lines, out;
};

int RunDrape(const DrapeArgs& a, Report& r)
{
    NeedOutputForJson(r, a.out, "draped lines");
    Progress& progress = r.Progress();
    Timer timer;
    std::string err, how;
    TesTriMesh::CKrMeshData mesh;
    if (!r.ReadSurface(a.surface, mesh, how)) return 1;
    std::vector<std::vector<CKrPoint3d>> input;
    progress.Step("reading " + a.lines);
    if (!ReadSurveyLines(a.lines, input, 2, err, false)) return r.Fail(err);

    TesTriMesh::CKrMeshQuery q(mesh);
    std::string buf = "# " + a.lines + " draped onto " + a.surface +
                      ": one block of x y z lines per piece; a closed piece repeats its first point\n";
    std::size_t pieces = 0, vertices = 0, missed = 0;
    std::vector<std::vector<CKrPoint3d>> layer;  // the pieces, for a vector layer output
    for (std::size_t i = 0; i < input.size(); ++i) {
        progress.Fraction("draping", i, input.size());
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
            layer.push_back(d.GetVerts());
            if (d.IsClosed() && d.NumVerts() > 0) layer.back().push_back(d.GetVerts().front());
            ++pieces;
            vertices += d.NumVerts();
        }
    }

    if (IsSurveyLayerName(a.out)) {
        if (!WriteSurveyLines(a.out, layer, err)) return r.Fail(err);
    } else if (!r.WriteText(a.out, buf, err)) {
        return r.Fail(err);
    }
    r["surface"] = a.surface;
    r["surface_kind"] = how;
    r["lines"] = input.size();
    r["pieces"] = pieces;
    r["vertices"] = vertices;
    r["off_surface_lines"] = missed;
    r.Line("surface       %s (%s)", a.surface.c_str(), how.c_str());
    r.Line("lines         %zu", input.size());
    r.Line("pieces        %zu (%zu vertices)", pieces, vertices);
    r.Line("off surface   %zu line(s)", missed);
    return r.Finish(a.out, timer.Seconds());
}

}  // namespace

void AddDrape(Cli& cli)
{
    auto a = std::make_shared<DrapeArgs>();
    CLI::App* c = cli.Add(
        "drape", "Lay polylines onto a surface",
        "LINES holds blocks of x y z lines (z is ignored; a block whose last point repeats its\n"
        "first is a ring). The draped pieces are written as polyline blocks, split where a\n"
        "line leaves the surface. Without -o they go to standard output, the report to\n"
        "standard error. LINES and OUT may also be vector layers (.gpkg, .shp, .dxf, .geojson).\n\n"
        "Examples:\n"
        "  krtes drape terrain.obj roads.txt -o draped.txt\n"
        "  krtes drape terrain.obj roads.txt --json -o draped.txt",
        [a](Report& r) { return RunDrape(*a, r); });
    AddFile(c, "SURFACE", a->surface, "Mesh or point file of the surface", true);
    AddFile(c, "LINES", a->lines, "Polylines to drape (blocks of x y z lines)", true);
    AddOutput(c, a->out, "Write the draped pieces to OUT (default: standard output)");
}

}  // namespace krtes
