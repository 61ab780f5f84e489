// krtes elev: the surface's elevation at plan positions.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesIO.h"
#include "KrTesMeshIO.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace krtes {

namespace {

struct PlanPoint {
    double x, y;
};

// A query file: one "x y" per line (a third column, such as a z, is
// ignored); '#' comments, blank lines and a leading column header are
// skipped.
bool ReadPlanPoints(const std::string& path, std::vector<PlanPoint>& out, std::string& err)
{
    std::ifstream in(path);
    if (!in) {
        err = path + ": cannot open file";
        return false;
    }
    std::string raw, bad;
    std::vector<double> v;
    std::size_t lineNo = 0;
    bool seenData = false;
    while (std::getline(in, raw)) {
        ++lineNo;
        const std::string line = raw.substr(0, raw.find('#'));
        const std::size_t n = ParseNumbers(line, v, bad);
        if (n == 0 && bad.empty()) continue;  // blank
        if (n == 0 && !seenData) {            // a column header
            seenData = true;
            continue;
        }
        const std::string at = path + ":" + std::to_string(lineNo) + ": ";
        if (!bad.empty()) {
            err = at + "'" + bad + "' is not a number";
            return false;
        }
        if (n != 2 && n != 3) {
            err = at + "expected x y (or x y z), found " + std::to_string(n) + " values";
            return false;
        }
        if (!std::isfinite(v[0]) || !std::isfinite(v[1])) {
            err = at + "coordinate is not finite (NaN or infinite)";
            return false;
        }
        seenData = true;
        out.push_back({v[0], v[1]});
    }
    return true;
}

// 1, 2 or 5 times a power of ten, the smallest not below x.
double NiceStep(double x)
{
    const double p = std::pow(10.0, std::floor(std::log10(x)));
    for (double m : {1.0, 2.0, 5.0, 10.0})
        if (m * p >= x * (1 - 1e-12)) return m * p;
    return 10.0 * p;
}

void Put(std::string& buf, double d)
{
    char tmp[32];
    const auto r = std::to_chars(tmp, tmp + sizeof tmp, d);
    buf.append(tmp, r.ptr);
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
            const auto r = std::from_chars(s.data(), s.data() + s.size(), step);
            if (r.ec != std::errc() || r.ptr != s.data() + s.size() || !(step > 0) || !std::isfinite(step))
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
        if (!ReadPlanPoints(points, query, err)) return Fail(err);
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
        Put(buf, p.x);
        buf += ' ';
        Put(buf, p.y);
        if (hit) {
            buf += ' ';
            Put(buf, z);
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
