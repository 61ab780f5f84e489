// krtes render: a shaded plan view of a surface, as a PNG picture.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/earthworks/KrContour.h"
#include "KrTesGeometry/io/KrPngFile.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesPicture.h"

namespace krtes {

namespace {

struct RenderArgs {
    std::string surface, out;
    double contours = -1.0;  // < 0: about ten levels over the surface's range; 0: none
    int size = 800;
};

// 1, 2 or 5 times a power of ten, the smallest not below x.
double NiceAbove(double x)
{
    const double p = std::pow(10.0, std::floor(std::log10(x)));
    for (double m : {1.0, 2.0, 5.0, 10.0})
        if (m * p >= x * (1 - 1e-12)) return m * p;
    return 10.0 * p;
}

// The elevation colour ramp: low blue, then green, yellow, orange, high
// brown-red; t in [0, 1].
Rgb Ramp(double t)
{
    static const double stops[5][3] = {
        {40, 110, 190}, {70, 160, 90}, {225, 210, 100}, {205, 125, 50}, {160, 60, 40}};
    t = std::min(std::max(t, 0.0), 1.0) * 4.0;
    const int k = std::min(static_cast<int>(t), 3);
    const double f = t - k;
    const auto mix = [&](int c) { return stops[k][c] + f * (stops[k + 1][c] - stops[k][c]); };
    return {static_cast<uint8_t>(std::lround(mix(0))), static_cast<uint8_t>(std::lround(mix(1))),
            static_cast<uint8_t>(std::lround(mix(2)))};
}

// Hillshade of cell (c, r) in [0, 1], the sun at azimuth 315 degrees and 45
// degrees above the horizon, from the 3 x 3 neighbourhood (Horn's slopes); a
// neighbour without a value takes the cell's own.
double Shade(const SKrDemGrid& g, int c, int r)
{
    const float z0 = g.At(c, r);
    const auto z = [&](int dc, int dr) {
        const int cc = c + dc, rr = r + dr;
        if (cc < 0 || rr < 0 || cc >= g.cols || rr >= g.rows) return static_cast<double>(z0);
        const float v = g.At(cc, rr);
        return static_cast<double>(v == g.noData ? z0 : v);
    };
    // Rows run south, so dz/dy here is the slope towards the south.
    const double dzdx = ((z(1, -1) + 2 * z(1, 0) + z(1, 1)) - (z(-1, -1) + 2 * z(-1, 0) + z(-1, 1))) / (8 * g.cell);
    const double dzdy = ((z(-1, 1) + 2 * z(0, 1) + z(1, 1)) - (z(-1, -1) + 2 * z(0, -1) + z(1, -1))) / (8 * g.cell);
    const double pi = 3.14159265358979323846;
    const double zenith = (90.0 - 45.0) * pi / 180.0;
    const double azimuth = std::fmod(360.0 - 315.0 + 90.0, 360.0) * pi / 180.0;
    const double slope = std::atan(std::sqrt(dzdx * dzdx + dzdy * dzdy));
    double aspect = 0.0;
    if (dzdx != 0.0) {
        aspect = std::atan2(dzdy, -dzdx);
        if (aspect < 0) aspect += 2 * pi;
    } else if (dzdy > 0) {
        aspect = pi / 2;
    } else if (dzdy < 0) {
        aspect = 2 * pi - pi / 2;
    }
    const double h = std::cos(zenith) * std::cos(slope) + std::sin(zenith) * std::sin(slope) * std::cos(azimuth - aspect);
    return std::max(h, 0.0);
}

int RunRender(RenderArgs a, Report& r)
{
    if (a.size < 16 || a.size > 20000) throw UsageError("--size must be a width of 16 to 20000 pixels");
    if (a.contours >= 0 && !std::isfinite(a.contours)) throw UsageError("--contours must be a finite interval");
#ifndef KRTES_HAVE_GDAL
    return r.Fail(a.out + ": writing PNG needs krtes built with GDAL");
#else
    Progress& progress = r.Progress();
    Timer timer;
    std::string err, how;
    TesTriMesh::CKrMeshData mesh;
    if (!r.ReadSurface(a.surface, mesh, how)) return 1;
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    mesh.OutputData(pts, tris);
    const CKrPoint3d lo = mesh.GetMinLimit(), hi = mesh.GetMaxLimit();

    // One pixel a cell, --size cells across.
    const double w = std::max(hi.x - lo.x, 1e-9), h = std::max(hi.y - lo.y, 1e-9);
    const double cell = w / a.size;
    if (h / cell > 20000) return r.Fail(a.surface + ": the surface is too narrow for a picture " +
                                        std::to_string(a.size) + " pixels wide");
    SKrDemGrid grid;
    if (!MakeDemGrid(lo.x, lo.y, lo.x + a.size * cell, hi.y, cell, grid, err)) return r.Fail(err);
    grid.cols = a.size;  // the width asked for, whatever the rounding did
    grid.z.assign(static_cast<std::size_t>(grid.cols) * grid.rows, grid.noData);
    progress.Step("sampling");
    const std::size_t on = SampleSurface(pts, tris, grid);

    float zmin = HUGE_VALF, zmax = -HUGE_VALF;
    for (float v : grid.z)
        if (v != grid.noData) zmin = std::min(zmin, v), zmax = std::max(zmax, v);
    const double range = zmax > zmin ? zmax - zmin : 1.0;

    progress.Step("drawing");
    Picture pic(grid);
    for (int row = 0; row < grid.rows; ++row)
        for (int col = 0; col < grid.cols; ++col) {
            const float v = grid.At(col, row);
            if (v == grid.noData) continue;  // white
            const Rgb c = Ramp((v - zmin) / range);
            const double s = 0.45 + 0.55 * Shade(grid, col, row);
            pic.Set(col, row, {static_cast<uint8_t>(std::lround(c.r * s)), static_cast<uint8_t>(std::lround(c.g * s)),
                               static_cast<uint8_t>(std::lround(c.b * s))});
        }

    double interval = a.contours;
    if (interval < 0) interval = NiceAbove((hi.z - lo.z > 0 ? hi.z - lo.z : 1.0) / 10.0);
    std::size_t contourLines = 0;
    if (interval > 0) {
        TesTriMesh::KrContourOptions opt;
        opt.interval = interval;
        opt.indexEvery = 5;
        TesTriMesh::KrContourResult res;
        if (!TesTriMesh::KrContours(pts, tris, opt, res)) return r.Fail(a.surface + ": " + res.error);
        const Rgb line{60, 35, 20};
        for (const TesTriMesh::KrContourLine& l : res.lines) {
            const std::size_t n = l.pts.size();
            for (std::size_t k = 0; k + 1 < n + (l.closed ? 1 : 0); ++k) {
                const CKrPoint3d &p = l.pts[k], &q = l.pts[(k + 1) % n];
                pic.PlanLine(p.x, p.y, q.x, q.y, line);
                if (l.isIndex)  // index contours twice as wide
                    pic.PlanLine(p.x + 0.5 * cell, p.y - 0.5 * cell, q.x + 0.5 * cell, q.y - 0.5 * cell, line);
            }
        }
        contourLines = res.lines.size();
    }
    const double bar = ScaleBarLength(grid.cols, cell);
    const int barPixels = static_cast<int>(std::lround(bar / cell));
    char label[32];
    std::snprintf(label, sizeof label, "%g", bar);
    pic.ScaleBar(barPixels, label);

    progress.Step("writing " + a.out);
    if (!WritePngRgb(a.out, pic.Width(), pic.Height(), pic.Bytes(), err)) return r.Fail(err);
    progress.Clear();

    r["surface"] = a.surface;
    r["surface_kind"] = how;
    r["width"] = pic.Width();
    r["height"] = pic.Height();
    r["map_rows"] = grid.rows;
    r["cell"] = cell;
    r["origin"] = {grid.xmin, grid.ymax};
    r["elevation_range"] = {zmin, zmax};
    r["on_surface"] = on;
    r["contour_interval"] = interval;
    r["contour_lines"] = contourLines;
    r["scale_bar"] = {{"length", bar}, {"pixels", barPixels}};
    r["output"] = a.out;
    r.Line("surface       %s (%s)", a.surface.c_str(), how.c_str());
    r.Line("picture       %d x %d pixels, %g a pixel (map %d rows, scale strip below)", pic.Width(), pic.Height(),
           cell, grid.rows);
    r.Line("elevations    %g .. %g", zmin, zmax);
    if (interval > 0)
        r.Line("contours      every %g, %zu lines (every 5th wider)", interval, contourLines);
    else
        r.Line("contours      none");
    r.Line("scale bar     %g (%d pixels)", bar, barPixels);
    return r.Finish(a.out, timer.Seconds());
#endif
}

}  // namespace

void AddRender(Cli& cli)
{
    auto a = std::make_shared<RenderArgs>();
    CLI::App* c = cli.Add(
        "render", "A shaded plan view of a surface, as a PNG picture",
        "SURFACE is a mesh (.obj, .ply, .stl), a LandXML surface, an elevation raster or a point\n"
        "file (triangulated first). The picture is north up, one pixel a cell: the elevation\n"
        "coloured from blue (low) through green and yellow to brown (high), shaded by a sun in\n"
        "the north-west 45 degrees up, white off the surface, with contour lines (every 5th\n"
        "wider) and a scale bar in a strip below the map.\n\n"
        "Examples:\n"
        "  krtes render ground.xml -o view.png\n"
        "  krtes render data/jacksboro_scattered.xyz --contours 10 --size 600 -o terrain.png",
        [a](Report& r) { return RunRender(*a, r); });
    AddFile(c, "SURFACE", a->surface, "The surface: mesh, LandXML, raster or points", true);
    c->add_option("--contours", a->contours, "Contour interval; 0 for none (default: about ten levels)")
        ->type_name("D");
    c->add_option("--size", a->size, "Width of the picture in pixels (default 800)")->type_name("W");
    AddOutput(c, a->out, "The picture to write", {".png"})->required();
}

}  // namespace krtes
