// krtes volume: cut and fill between two surfaces, or a surface and a level.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/earthworks/KrEarthVolume.h"
#include "KrTesGeometry/io/KrPngFile.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesPicture.h"

namespace krtes {

namespace {

struct VolumeArgs {
    std::string existing, design, boundary, zeroLine, map;
    double level = std::nan("");
    int mapSize = 800;
};

// The plan point (x, y) is inside the polygon (even-odd rule).
bool InPolygon(const std::vector<CKrPoint3d>& poly, double x, double y)
{
    bool in = false;
    for (std::size_t i = 0, j = poly.size() - 1; i < poly.size(); j = i++) {
        const CKrPoint3d &a = poly[i], &b = poly[j];
        if ((a.y > y) != (b.y > y) && x < a.x + (y - a.y) * (b.x - a.x) / (b.y - a.y)) in = !in;
    }
    return in;
}

// The cut/fill map: the first surface minus the second (or the level) at
// every cell centre, red where it is above (cut), blue where below (fill),
// deeper for a larger difference, white where either is missing or outside
// the boundary.
bool WriteCutFillMap(const VolumeArgs& a, TesTriMesh::CKrMeshData& first, TesTriMesh::CKrMeshData* second,
                     const std::vector<CKrPoint3d>& boundary, Report& r, std::string& err)
{
#ifndef KRTES_HAVE_GDAL
    (void)first, (void)second, (void)boundary, (void)r;
    err = a.map + ": writing PNG needs krtes built with GDAL";
    return false;
#else
    std::vector<CKrPoint3d> pts[2];
    std::vector<KrTesGeo::_sTri_ID> tris[2];
    first.OutputData(pts[0], tris[0]);
    CKrPoint3d lo = first.GetMinLimit(), hi = first.GetMaxLimit();
    if (second) {
        second->OutputData(pts[1], tris[1]);
        const CKrPoint3d lo2 = second->GetMinLimit(), hi2 = second->GetMaxLimit();
        lo.x = std::max(lo.x, lo2.x), lo.y = std::max(lo.y, lo2.y);
        hi.x = std::min(hi.x, hi2.x), hi.y = std::min(hi.y, hi2.y);
    }
    if (!boundary.empty()) {
        double bx0 = HUGE_VAL, by0 = HUGE_VAL, bx1 = -HUGE_VAL, by1 = -HUGE_VAL;
        for (const CKrPoint3d& p : boundary)
            bx0 = std::min(bx0, p.x), by0 = std::min(by0, p.y), bx1 = std::max(bx1, p.x), by1 = std::max(by1, p.y);
        lo.x = std::max(lo.x, bx0), lo.y = std::max(lo.y, by0), hi.x = std::min(hi.x, bx1), hi.y = std::min(hi.y, by1);
    }
    if (!(hi.x > lo.x) || !(hi.y > lo.y)) {
        err = a.map + ": the surfaces do not overlap in plan";
        return false;
    }
    const double cell = (hi.x - lo.x) / a.mapSize;
    if ((hi.y - lo.y) / cell > 20000) {
        err = a.map + ": the region is too narrow for a picture " + std::to_string(a.mapSize) + " pixels wide";
        return false;
    }
    SKrDemGrid g[2];
    for (int k = 0; k < (second ? 2 : 1); ++k) {
        if (!MakeDemGrid(lo.x, lo.y, lo.x + a.mapSize * cell, hi.y, cell, g[k], err)) return false;
        g[k].cols = a.mapSize;
        g[k].z.assign(static_cast<std::size_t>(g[k].cols) * g[k].rows, g[k].noData);
        SampleSurface(pts[k], tris[k], g[k]);
    }
    std::vector<double> diff(g[0].z.size(), std::nan(""));
    double most = 0.0;
    for (int row = 0; row < g[0].rows; ++row)
        for (int col = 0; col < g[0].cols; ++col) {
            const float za = g[0].At(col, row), zb = second ? g[1].At(col, row) : static_cast<float>(a.level);
            if (za == g[0].noData || (second && zb == g[1].noData)) continue;
            if (!boundary.empty() && !InPolygon(boundary, g[0].CentreX(col), g[0].CentreY(row))) continue;
            const double d = static_cast<double>(za) - zb;
            diff[static_cast<std::size_t>(row) * g[0].cols + col] = d;
            most = std::max(most, std::fabs(d));
        }
    Picture pic(g[0]);
    for (int row = 0; row < g[0].rows; ++row)
        for (int col = 0; col < g[0].cols; ++col) {
            const double d = diff[static_cast<std::size_t>(row) * g[0].cols + col];
            if (std::isnan(d) || most == 0.0) continue;
            // From pale at no difference to full colour at the largest.
            const double t = 0.25 + 0.75 * std::fabs(d) / most;
            const auto fade = [t](int full) { return static_cast<uint8_t>(std::lround(235 + t * (full - 235))); };
            pic.Set(col, row, d > 0 ? Rgb{fade(200), fade(30), fade(30)} : d < 0 ? Rgb{fade(30), fade(70), fade(200)}
                                                                                : Rgb{235, 235, 235});
        }
    const double bar = ScaleBarLength(g[0].cols, cell);
    char label[32];
    std::snprintf(label, sizeof label, "%g", bar);
    pic.ScaleBar(static_cast<int>(std::lround(bar / cell)), label);
    if (!WritePngRgb(a.map, pic.Width(), pic.Height(), pic.Bytes(), err)) return false;
    r["map"] = {{"file", a.map}, {"width", pic.Width()}, {"height", pic.Height()}, {"cell", cell},
                {"largest_difference", most}};
    r.Line("map           %s (%d x %d pixels, red cut, blue fill, strongest at %g)", a.map.c_str(), pic.Width(),
           pic.Height(), most);
    return true;
#endif
}

int RunVolume(VolumeArgs a, Report& r)
{
    const bool toLevel = !std::isnan(a.level);
    if (toLevel && !a.design.empty()) throw UsageError("give DESIGN or --level, not both");
    if (!toLevel && a.design.empty()) throw UsageError("DESIGN or --level is required");
    if (toLevel && !std::isfinite(a.level)) throw UsageError("--level must be a finite number");
    if (a.mapSize < 16 || a.mapSize > 20000) throw UsageError("--map-size must be 16 to 20000 pixels");
    if (!a.map.empty() && Extension(a.map) != ".png") throw UsageError("--map writes a .png picture");

    Progress& progress = r.Progress();
    Timer timer;
    std::string err, how[2];
    TesTriMesh::CKrMeshData mesh[2];
    const std::string files[2] = {a.existing, a.design};
    for (int k = 0; k < (toLevel ? 1 : 2); ++k) {
        progress.Step("reading " + files[k]);
        if (!ReadSurfaceFile(files[k], mesh[k], how[k], err)) return r.Fail(err);
    }
    TesTriMesh::KrEarthVolumeOptions opt;
    if (!a.boundary.empty()) {
        std::vector<std::vector<CKrPoint3d>> lines;
        progress.Step("reading " + a.boundary);
        if (!ReadSurveyLines(a.boundary, lines, 3, err, false)) return r.Fail(err);
        if (lines.size() != 1)
            return r.Fail(a.boundary + ": a boundary is one polygon; the file holds " + std::to_string(lines.size()));
        opt.boundary = lines[0];
    }
    opt.zeroLine = !a.zeroLine.empty();
    const double readTime = timer.Seconds();

    progress.Step("computing cut and fill");
    TesTriMesh::KrEarthVolume v;
    const bool ok = toLevel ? TesTriMesh::KrVolumeToLevel(mesh[0], a.level, opt, v)
                            : TesTriMesh::KrVolumeBetween(mesh[0], mesh[1], opt, v);
    if (!ok) return r.Fail((a.boundary.empty() ? a.existing : a.boundary) + ": " + v.error);
    const double computeTime = timer.Seconds() - readTime;

    std::size_t zeroVertices = 0;
    if (opt.zeroLine) {
        progress.Step("writing " + a.zeroLine);
        std::vector<std::vector<CKrPoint3d>> layer;
        std::string buf = "# where " + a.existing + " meets " + (toLevel ? "the level" : a.design) +
                          ": one block of x y z lines per line (z on the first surface); a closed line repeats "
                          "its first point\n";
        for (std::size_t i = 0; i < v.zeroLines.size(); ++i) {
            const CKrPolyLine& l = v.zeroLines[i];
            layer.push_back(l.GetVerts());
            if (l.IsClosed() && l.NumVerts() > 0) layer.back().push_back(l.GetVerts().front());
            zeroVertices += l.NumVerts();
            buf += "\n# zero line " + std::to_string(i + 1) + (l.IsClosed() ? " (closed)" : "") + "\n";
            for (const CKrPoint3d& p : layer.back()) AppendPoint(buf, p);
        }
        if (IsSurveyLayerName(a.zeroLine)) {
            if (!layer.empty() && !WriteSurveyLines(a.zeroLine, layer, err)) return r.Fail(err);
            if (layer.empty()) r.Warn("no zero line: " + a.zeroLine + " not written");
        } else if (!WriteTextOutput(a.zeroLine, buf, err)) {
            return r.Fail(err);
        }
    }

    r["existing"] = {{"file", a.existing}, {"kind", how[0]}};
    r.Line("existing      %s (%s)", a.existing.c_str(), how[0].c_str());
    if (toLevel) {
        r["design"] = nullptr;
        r["level"] = a.level;
        r.Line("level         %g", a.level);
    } else {
        r["design"] = {{"file", a.design}, {"kind", how[1]}};
        r["level"] = nullptr;
        r.Line("design        %s (%s)", a.design.c_str(), how[1].c_str());
    }
    r["boundary"] = a.boundary.empty() ? nlohmann::json(nullptr) : nlohmann::json(a.boundary);
    if (!a.boundary.empty()) r.Line("boundary      %s (%zu corners)", a.boundary.c_str(), opt.boundary.size());
    r["cut"] = v.cut;
    r["fill"] = v.fill;
    r["net"] = v.net;
    r["cut_area"] = v.cutArea;
    r["fill_area"] = v.fillArea;
    r.Line("cut           %.3f over %.3f", v.cut, v.cutArea);
    r.Line("fill          %.3f over %.3f", v.fill, v.fillArea);
    r.Line("net           %.3f (cut - fill)", v.net);
    r["zero_lines"] = nullptr;
    if (opt.zeroLine) {
        r["zero_lines"] = {{"file", a.zeroLine}, {"lines", v.zeroLines.size()}, {"vertices", zeroVertices}};
        r.Line("zero lines    %zu (%zu vertices) written %s", v.zeroLines.size(), zeroVertices, a.zeroLine.c_str());
    }
    if (!a.map.empty()) {
        progress.Step("drawing " + a.map);
        if (!WriteCutFillMap(a, mesh[0], toLevel ? nullptr : &mesh[1], opt.boundary, r, err)) return r.Fail(err);
    }
    progress.Clear();
    r["time"] = {{"read", readTime}, {"compute", computeTime}};
    r.Line("computed      %.3f s (read %.3f s)", computeTime, readTime);
    return r.Finish("", timer.Seconds());
}

}  // namespace

void AddVolume(Cli& cli)
{
    auto a = std::make_shared<VolumeArgs>();
    CLI::App* c = cli.Add(
        "volume", "Cut and fill between two surfaces, or a surface and a level",
        "EXISTING and DESIGN are meshes (.obj, .ply, .stl), LandXML surfaces, elevation rasters or\n"
        "point files (triangulated first). Cut is where EXISTING lies above DESIGN (or the level),\n"
        "fill where it lies below, over the region both cover, limited by --boundary (a polygon:\n"
        "a polyline file or a vector layer). Volumes are exact for the triangulated surfaces.\n"
        "--zero-line writes where the two meet, as a polyline file or a vector layer; --map\n"
        "draws the difference (red cut, blue fill) as a PNG.\n\n"
        "Examples:\n"
        "  krtes volume ground.xml design.xml --boundary site.gpkg --zero-line daylight.gpkg\n"
        "  krtes volume stockpile.obj --level 102.5 --json",
        [a](Report& r) { return RunVolume(*a, r); });
    AddFile(c, "EXISTING", a->existing, "The first surface (today's ground)", true);
    AddFile(c, "DESIGN", a->design, "The second surface (omit with --level)");
    AddFile(c, "--boundary", a->boundary, "A polygon limiting the region");
    c->add_option("--level", a->level, "Compare with the level plane z = Z instead of DESIGN")->type_name("Z");
    c->add_option("--zero-line", a->zeroLine, "Write the lines where the surfaces meet to OUT")->type_name("OUT");
    c->add_option("--map", a->map, "Draw the cut and fill as a PNG picture")->type_name("PNG");
    c->add_option("--map-size", a->mapSize, "Width of the --map picture in pixels (default 800)")->type_name("W");
}

}  // namespace krtes
