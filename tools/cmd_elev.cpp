// krtes elev: the surface's elevation at plan positions.
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace krtes {

namespace {

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

}  // namespace

int CmdElev(int argc, char** argv)
{
    std::string surface, points, out;
    double step = 0.0;
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "-o" || a == "--output") {
            if (i + 1 >= argc) return Fail("-o needs a file");
            out = argv[++i];
        } else if (a == "--step") {
            if (i + 1 >= argc) return Fail("--step needs a grid spacing");
            const std::string s = argv[++i];
            if (!ParseNumber(s, step) || !(step > 0) || !std::isfinite(step))
                return Fail("--step needs a positive number, got '" + s + "'");
        } else if (!a.empty() && a[0] == '-') {
            return Fail("elev: unknown option '" + a + "' (see krtes --help)");
        } else if (surface.empty()) {
            surface = a;
        } else if (points.empty()) {
            points = a;
        } else {
            return Fail("elev: too many arguments (SURFACE [POINTS])");
        }
    }
    if (surface.empty()) return Fail("elev: no SURFACE given (usage: krtes elev SURFACE [POINTS] [-o OUT])");
    if (!points.empty() && step > 0) return Fail("elev: --step applies only without POINTS");

    Timer timer;
    std::string err, how;
    TesTriMesh::CKrMeshData mesh;
    if (!ReadSurfaceFile(surface, mesh, how, err)) return Fail(err);
    const CKrPoint3d lo = mesh.GetMinLimit(), hi = mesh.GetMaxLimit();

    std::vector<PlanPoint> query;
    if (!points.empty()) {
        std::vector<CKrPoint3d> read;
        if (!ReadPlanPointFile(points, read, err)) return Fail(err);
        for (const CKrPoint3d& p : read) query.push_back({p.x, p.y});
    } else {
        // A grid over the surface's extent, at most about 100 points a side
        // unless a step is given.
        const double w = hi.x - lo.x, h = hi.y - lo.y;
        if (step <= 0) step = NiceStep(std::max(std::max(w, h) / 100.0, 1e-9));
        // Grid lines at whole multiples of the step, inside the extent.
        const double x0 = std::ceil(lo.x / step) * step, y0 = std::ceil(lo.y / step) * step;
        const double nx = std::floor((hi.x - x0) / step) + 1, ny = std::floor((hi.y - y0) / step) + 1;
        if (nx * ny > 5e7) return Fail("elev: --step " + std::to_string(step) + " makes too many grid points");
        for (long j = 0; j < static_cast<long>(ny); ++j)
            for (long i = 0; i < static_cast<long>(nx); ++i) query.push_back({x0 + i * step, y0 + j * step});
    }

    TesTriMesh::CKrMeshQuery q(mesh);
    std::string buf;
    std::size_t on = 0;
    buf += "# elevations of " + surface + ": x y z; points off the surface are listed as comments\n";
    for (const PlanPoint& p : query) {
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

    if (!WriteTextOutput(out, buf, err)) return Fail(err);
    std::FILE* report = out.empty() ? stderr : stdout;  // keep the data on stdout clean
    std::fprintf(report, "surface       %s (%s)\n", surface.c_str(), how.c_str());
    if (points.empty())
        std::fprintf(report, "grid          step %g over x %.3f .. %.3f, y %.3f .. %.3f\n", step, lo.x, hi.x, lo.y, hi.y);
    std::fprintf(report, "points        %zu\n", query.size());
    std::fprintf(report, "on surface    %zu\n", on);
    std::fprintf(report, "off surface   %zu\n", query.size() - on);
    if (!out.empty()) std::fprintf(report, "written       %s\n", out.c_str());
    std::fprintf(report, "time          %.3f s\n", timer.Seconds());
    return 0;
}

}  // namespace krtes
