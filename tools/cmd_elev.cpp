// krtes elev: the surface's elevation at plan positions.
#include <algorithm>
#include <cmath>
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

struct ElevArgs {
    std::string surface, points, out;
    double step = 0.0;  // 0: chosen from the extent
};

struct PlanPoint {
    double x, y;
};

// 1, 2 or 5 times a power of ten, the smallest not below x.
double NiceStep(double x)
{
    const double p = std::pow(10.0, std::floor(std::log10(x)));
    for (double m : {1.0, 2.0, 5.0, 10.0})
        if (m * p >= x * (1 - 1e-12)) return m * p;
    return 10.0 * p;
}

int RunElev(ElevArgs a, Report& r)
{
    if (!a.points.empty() && a.step > 0) throw UsageError("--step applies only without POINTS");
    NeedOutputForJson(r, a.out, "elevations");

    Progress& progress = r.Progress();
    Timer timer;
    std::string err, how;
    TesTriMesh::CKrMeshData mesh;
    if (!r.ReadSurface(a.surface, mesh, how)) return 1;
    const CKrPoint3d lo = mesh.GetMinLimit(), hi = mesh.GetMaxLimit();

    std::vector<PlanPoint> query;
    if (!a.points.empty()) {
        std::vector<CKrPoint3d> read;
        progress.Step("reading " + a.points);
        if (!ReadSurveyPlanPoints(a.points, read, err)) return r.Fail(err);
        for (const CKrPoint3d& p : read) query.push_back({p.x, p.y});
    } else {
        // A grid over the surface's extent, at most about 100 points a side
        // unless a step is given.
        const double w = hi.x - lo.x, h = hi.y - lo.y;
        if (a.step <= 0) a.step = NiceStep(std::max(std::max(w, h) / 100.0, 1e-9));
        // Grid lines at whole multiples of the step, inside the extent.
        const double x0 = std::ceil(lo.x / a.step) * a.step, y0 = std::ceil(lo.y / a.step) * a.step;
        const double nx = std::floor((hi.x - x0) / a.step) + 1, ny = std::floor((hi.y - y0) / a.step) + 1;
        if (nx * ny > 5e7) return r.Fail("--step " + std::to_string(a.step) + " makes too many grid points");
        for (long j = 0; j < static_cast<long>(ny); ++j)
            for (long i = 0; i < static_cast<long>(nx); ++i) query.push_back({x0 + i * a.step, y0 + j * a.step});
    }

    TesTriMesh::CKrMeshQuery q(mesh);
    std::string buf;
    std::size_t on = 0;
    buf += "# elevations of " + a.surface + ": x y z; points off the surface are listed as comments\n";
    for (std::size_t k = 0; k < query.size(); ++k) {
        if (k % 4096 == 0) progress.Fraction("querying", k, query.size());
        const PlanPoint& p = query[k];
        double z = 0.0;
        const bool hit = q.GetMapPoint(p.x, p.y, z);
        if (!hit) buf += "# off surface: ";
        AppendNumber(buf, p.x);
        buf += ' ';
        AppendNumber(buf, p.y);
        if (hit) {
            buf += ' ';
            AppendNumber(buf, z);
            ++on;
        }
        buf += '\n';
    }

    if (!r.WriteText(a.out, buf, err)) return r.Fail(err);
    r["surface"] = a.surface;
    r["surface_kind"] = how;
    r.Line("surface       %s (%s)", a.surface.c_str(), how.c_str());
    r["grid"] = nullptr;
    if (a.points.empty()) {
        r["grid"] = {{"step", a.step}, {"extent", {{"min", {lo.x, lo.y}}, {"max", {hi.x, hi.y}}}}};
        r.Line("grid          step %g over x %.3f .. %.3f, y %.3f .. %.3f", a.step, lo.x, hi.x, lo.y, hi.y);
    }
    r["points"] = query.size();
    r["on_surface"] = on;
    r["off_surface"] = query.size() - on;
    r.Line("points        %zu", query.size());
    r.Line("on surface    %zu", on);
    r.Line("off surface   %zu", query.size() - on);
    return r.Finish(a.out, timer.Seconds());
}

}  // namespace

void AddElev(Cli& cli)
{
    auto a = std::make_shared<ElevArgs>();
    CLI::App* c = cli.Add(
        "elev", "Elevation of a surface at points or on a grid",
        "SURFACE is a mesh (.obj, .ply, .stl), a LandXML surface, an elevation raster or a point\n"
        "file, triangulated first; POINTS may be a vector layer of points. Writes x y z\n"
        "lines; points off the surface are listed as '# off surface: x y' comments. Without -o\n"
        "the elevations go to standard output and the report to standard error.\n\n"
        "Examples:\n"
        "  krtes elev terrain.obj survey.txt -o heights.txt\n"
        "  krtes elev data/jacksboro_scattered.xyz --step 500 > grid.xyz",
        [a](Report& r) { return RunElev(*a, r); });
    AddFile(c, "SURFACE", a->surface, "Mesh or point file of the surface", true);
    AddFile(c, "POINTS", a->points, "Plan positions, x y per line (a third column is ignored)");
    AddPositive(c, "--step", a->step, "D", "Grid spacing when no POINTS are given (default: about 100 a side)");
    AddOutput(c, a->out, "Write the elevations to OUT (default: standard output)");
}

}  // namespace krtes
