// krtes grid: a surface sampled on a raster of cells, written as a GeoTIFF DEM.
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/io/KrTesIO.h"

namespace krtes {

namespace {

struct GridArgs {
    std::string surface, out, crs;
    double cell = 0.0;
    std::vector<double> extent;  // xmin ymin xmax ymax; empty: the surface's, whole cells
};

int RunGrid(const GridArgs& a, Report& r)
{
    if (!a.extent.empty() && (!(a.extent[2] > a.extent[0]) || !(a.extent[3] > a.extent[1])))
        throw UsageError("--extent needs xmin ymin xmax ymax with xmax > xmin and ymax > ymin");
#ifndef KRTES_HAVE_GDAL
    return r.Fail(a.out + ": writing GeoTIFF needs krtes built with GDAL");
#else
    Progress& progress = r.Progress();
    Timer timer;
    std::string err, how, crs;
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    progress.Step("reading " + a.surface);
    if (!ReadSurvey(a.surface, pts, tris, crs, how, err)) return r.Fail(err);
    const double readTime = timer.Seconds();
    if (!a.crs.empty()) crs = a.crs;

    double xmin, ymin, xmax, ymax;
    if (!a.extent.empty()) {
        xmin = a.extent[0], ymin = a.extent[1], xmax = a.extent[2], ymax = a.extent[3];
    } else {
        // The surface's extent out to whole multiples of the cell, so that
        // grids of one cell size from different surfaces line up.
        xmin = ymin = HUGE_VAL;
        xmax = ymax = -HUGE_VAL;
        for (const auto& t : tris)
            for (int k = 0; k < 3; ++k) {
                const CKrPoint3d& p = pts[t[k]];
                xmin = std::min(xmin, p.x), xmax = std::max(xmax, p.x);
                ymin = std::min(ymin, p.y), ymax = std::max(ymax, p.y);
            }
        xmin = std::floor(xmin / a.cell) * a.cell, ymin = std::floor(ymin / a.cell) * a.cell;
        xmax = std::ceil(xmax / a.cell) * a.cell, ymax = std::ceil(ymax / a.cell) * a.cell;
        if (xmax <= xmin) xmax = xmin + a.cell;
        if (ymax <= ymin) ymax = ymin + a.cell;
    }
    SKrDemGrid grid;
    if (!MakeDemGrid(xmin, ymin, xmax, ymax, a.cell, grid, err)) return r.Fail(err);
    progress.Step("sampling " + std::to_string(grid.cols) + " x " + std::to_string(grid.rows) + " cells");
    const std::size_t on = SampleSurface(pts, tris, grid);
    const double sampleTime = timer.Seconds() - readTime;
    progress.Step("writing " + a.out);
    if (!WriteGeoTiffDem(a.out, grid, crs, err)) return r.Fail(err);
    progress.Clear();
    const double total = timer.Seconds();
    const std::size_t cells = grid.z.size();

    r["surface"] = a.surface;
    r["surface_kind"] = how;
    r["cell"] = a.cell;
    r["columns"] = grid.cols;
    r["rows"] = grid.rows;
    r["extent"] = {{"min", {grid.xmin, grid.ymax - grid.rows * grid.cell}},
                   {"max", {grid.xmin + grid.cols * grid.cell, grid.ymax}}};
    r["on_surface"] = on;
    r["nodata"] = cells - on;
    r["crs"] = crs.empty() ? nlohmann::json(nullptr) : nlohmann::json(crs.size() > 60 ? "WKT" : crs);
    r["output"] = a.out;
    r["read_time"] = readTime;
    r["sample_time"] = sampleTime;
    r.Line("surface       %s (%s)", a.surface.c_str(), how.c_str());
    r.Line("grid          %d x %d cells of %g over x %.3f .. %.3f, y %.3f .. %.3f", grid.cols, grid.rows, a.cell,
           grid.xmin, grid.xmin + grid.cols * grid.cell, grid.ymax - grid.rows * grid.cell, grid.ymax);
    r.Line("on surface    %zu cells (%zu NoData)", on, cells - on);
    r.Line("crs           %s", crs.empty() ? "none" : crs.size() > 60 ? "from the input (WKT)" : crs.c_str());
    r.Line("sampled       %.3f s (read %.3f s)", sampleTime, readTime);
    return r.Finish(a.out, total);
#endif
}

}  // namespace

void AddGrid(Cli& cli)
{
    auto a = std::make_shared<GridArgs>();
    CLI::App* c = cli.Add(
        "grid", "A surface sampled on a grid of cells, as a GeoTIFF elevation model",
        "SURFACE is a LandXML surface (.xml), a mesh (.obj, .ply, .stl), a raster or a point\n"
        "file (triangulated first). Each cell holds the surface's elevation at its centre as\n"
        "float32, NoData off the surface. The grid covers the surface in whole multiples of\n"
        "the cell unless --extent is given; the coordinate system is the input's (LandXML,\n"
        "raster) unless --crs names one.\n\n"
        "Examples:\n"
        "  krtes grid ground.xml --cell 1 -o dem.tif\n"
        "  krtes grid terrain.obj --cell 0.5 --extent 500000 6000000 500400 6000300 --crs EPSG:32633 -o dem.tif",
        [a](Report& r) { return RunGrid(*a, r); });
    AddFile(c, "SURFACE", a->surface, "The surface: LandXML, mesh, raster or points", true);
    AddPositive(c, "--cell", a->cell, "D", "Cell size, in the surface's units")->required();
    c->add_option("--extent", a->extent, "The grid's extent (default: the surface's, in whole cells)")
        ->expected(4)
        ->type_name("XMIN YMIN XMAX YMAX");
    c->add_option("--crs", a->crs, "Coordinate system of the grid, e.g. EPSG:32633 (default: the input's)")
        ->type_name("CRS");
    AddOutput(c, a->out, "The GeoTIFF to write", {".tif", ".tiff"})->required();
}

}  // namespace krtes
