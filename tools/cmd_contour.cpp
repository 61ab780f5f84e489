// krtes contour: the contour lines of a surface at a fixed interval.
#include <cmath>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/earthworks/KrContour.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace krtes {

namespace {

struct ContourArgs {
    std::string surface, out;
    double interval = 0.0, base = 0.0;
    int index = 0;
};

std::string NumberText(double d)
{
    std::string s;
    AppendNumber(s, d);
    return s;
}

int RunContour(const ContourArgs& a, Report& r)
{
    if (a.index < 0) throw UsageError("--index must be 0 (none) or a positive count of levels");
    if (!std::isfinite(a.base)) throw UsageError("--base must be a finite number");
    Progress& progress = r.Progress();
    Timer timer;
    std::string err, how;
    TesTriMesh::CKrMeshData mesh;
    if (!r.ReadSurface(a.surface, mesh, how)) return 1;
    const double readTime = timer.Seconds();

    progress.Step("contouring");
    TesTriMesh::KrContourOptions opt;
    opt.interval = a.interval;
    opt.base = a.base;
    opt.indexEvery = a.index;
    TesTriMesh::KrContourResult res;
    if (!TesTriMesh::KrContours(mesh, opt, res)) return r.Fail(a.surface + ": " + res.error);
    const double contourTime = timer.Seconds() - readTime;

    // Each line once, a closed one repeating its first point so that any
    // reader sees a ring; the points' z is the level.
    std::vector<std::vector<CKrPoint3d>> layer;
    std::vector<double> levelOf;  // each line's level, an attribute of layer formats
    std::string buf = "# contours of " + a.surface + " every " + NumberText(a.interval) +
                      ": one block of x y z lines per line, '# level Z' before each; a closed line repeats its "
                      "first point\n";
    std::set<int64_t> levels;
    std::size_t closed = 0, index = 0, vertices = 0;
    for (const TesTriMesh::KrContourLine& l : res.lines) {
        levels.insert(l.k);
        closed += l.closed;
        index += l.isIndex;
        vertices += l.pts.size();
        layer.push_back(l.pts);
        levelOf.push_back(l.level);
        if (l.closed && !l.pts.empty()) layer.back().push_back(l.pts.front());
        buf += "\n# level " + NumberText(l.level);
        if (l.isIndex) buf += " index";
        if (l.closed) buf += " closed";
        buf += '\n';
        for (const CKrPoint3d& p : layer.back()) AppendPoint(buf, p);
    }
    progress.Step("writing " + a.out);
    if (IsSurveyLayerName(a.out)) {
        if (!WriteSurveyLines(a.out, layer, err, "level", levelOf)) return r.Fail(err);
    } else if (!WriteTextOutput(a.out, buf, err)) {
        return r.Fail(err);
    }
    progress.Clear();

    r["surface"] = a.surface;
    r["surface_kind"] = how;
    r["interval"] = a.interval;
    r["base"] = a.base;
    r["index_every"] = a.index;
    r["levels"] = levels.size();
    r["lines"] = res.lines.size();
    r["closed_lines"] = closed;
    r["index_lines"] = index;
    r["vertices"] = vertices;
    r["output"] = a.out;
    r.Line("surface       %s (%s)", a.surface.c_str(), how.c_str());
    r.Line("interval      %g from base %g%s", a.interval, a.base,
           a.index ? (", every " + std::to_string(a.index) + "th an index contour").c_str() : "");
    r.Line("levels        %zu", levels.size());
    if (!levels.empty())
        r.Line("              %g .. %g", a.base + *levels.begin() * a.interval, a.base + *levels.rbegin() * a.interval);
    r.Line("lines         %zu (%zu closed, %zu index, %zu vertices)", res.lines.size(), closed, index, vertices);
    r.Line("contoured     %.3f s (read %.3f s)", contourTime, readTime);
    return r.Finish(a.out, timer.Seconds());
}

}  // namespace

void AddContour(Cli& cli)
{
    auto a = std::make_shared<ContourArgs>();
    CLI::App* c = cli.Add(
        "contour", "Contour lines of a surface",
        "SURFACE is a mesh (.obj, .ply, .stl), a LandXML surface, an elevation raster or a point\n"
        "file (triangulated first). The levels are BASE + k D for every whole k between the\n"
        "surface's lowest and highest point. OUT is a polyline file (blocks of x y z lines, a\n"
        "'# level Z' comment before each) or a vector layer (.gpkg, .shp, .dxf, .geojson) whose\n"
        "line strings carry the level as their z. A closed line repeats its first point.\n\n"
        "Examples:\n"
        "  krtes contour ground.xml --interval 1 --index 5 -o contours.gpkg\n"
        "  krtes contour data/jacksboro_scattered.xyz --interval 10 -o contours.txt",
        [a](Report& r) { return RunContour(*a, r); });
    AddFile(c, "SURFACE", a->surface, "The surface: mesh, LandXML, raster or points", true);
    AddPositive(c, "--interval", a->interval, "D", "Spacing of the levels")->required();
    c->add_option("--base", a->base, "A level the others are whole intervals from (default 0)")->type_name("Z");
    c->add_option("--index", a->index, "Flag every Nth level (k a multiple of N) as an index contour")
        ->type_name("N");
    AddOutput(c, a->out, "The contour lines: a polyline file (.txt) or a vector layer")->required();
}

}  // namespace krtes
