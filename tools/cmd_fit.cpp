// krtes fit: heights of new points fitted to a reference surface and data.
#include <charconv>
#include <cstdio>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/tin/KrFit.h"
#include "KrTesGeometry/mesh/KrMeshData.h"

namespace krtes {

namespace {

// Polyline blocks as polylines; a block whose last point repeats its first
// is a closed line.
std::vector<CKrPolyLine> ToPolylines(const std::vector<std::vector<CKrPoint3d>>& blocks)
{
    std::vector<CKrPolyLine> lines;
    for (const auto& b : blocks) {
        CKrPolyLine l;
        const bool closed = b.size() > 3 && b.front() == b.back();
        for (std::size_t i = 0; i + (closed ? 1 : 0) < b.size(); ++i) l.AddVertex(b[i]);
        l.SetClosed(closed);
        lines.push_back(l);
    }
    return lines;
}

const char* kTypeName[3] = {"difference surface", "difference line", "fan to the boundary"};

}  // namespace

int CmdFit(int argc, char** argv)
{
    std::string reference, points, lines, boundary, target, out;
    bool diff = false;
    int type = 0;
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--points") {
            if (!NextValue(argc, argv, i, points)) return Fail("--points needs a file");
        } else if (a == "--lines") {
            if (!NextValue(argc, argv, i, lines)) return Fail("--lines needs a file");
        } else if (a == "--boundary") {
            if (!NextValue(argc, argv, i, boundary)) return Fail("--boundary needs a file");
        } else if (a == "-o" || a == "--output") {
            if (!NextValue(argc, argv, i, out)) return Fail("-o needs a file");
        } else if (a == "--diff") {
            diff = true;
        } else if (a == "--type") {
            std::string s;
            if (!NextValue(argc, argv, i, s) || (s != "0" && s != "1" && s != "2")) return Fail("--type needs 0, 1 or 2");
            type = s[0] - '0';
        } else if (!a.empty() && a[0] == '-') {
            return Fail("fit: unknown option '" + a + "' (see krtes --help)");
        } else if (reference.empty()) {
            reference = a;
        } else if (target.empty()) {
            target = a;
        } else {
            return Fail("fit: too many arguments (REFERENCE POINTS_TO_FIT)");
        }
    }
    if (reference.empty() || target.empty())
        return Fail("fit: usage: krtes fit REFERENCE [--points FILE] [--lines FILE] [--boundary FILE] [--diff] "
                    "[--type 0|1|2] [-o OUT] POINTS_TO_FIT");
    if (points.empty() && lines.empty()) return Fail("fit: no data given (--points and/or --lines)");

    Timer timer;
    std::string err, how;
    TesTriMesh::CKrMeshData ref;
    if (!ReadSurfaceFile(reference, ref, how, err)) return Fail(err);
    std::vector<CKrPoint3d> data, bj, todo;
    std::vector<std::vector<CKrPoint3d>> lineBlocks, bjBlocks;
    if (!points.empty() && !ReadPointFile(points, data, err)) return Fail(err);
    if (!lines.empty() && !ReadPolylineFile(lines, lineBlocks, 2, err)) return Fail(err);
    if (!boundary.empty()) {
        if (!ReadPolylineFile(boundary, bjBlocks, 3, err)) return Fail(err);
        if (bjBlocks.size() != 1)
            return Fail(boundary + ": a boundary file holds exactly one polyline, found " +
                        std::to_string(bjBlocks.size()));
        bj = bjBlocks[0];
        if (bj.size() > 3 && bj.front() == bj.back()) bj.pop_back();  // the fan closes it itself
    }
    if (!ReadPointFile(target, todo, err)) return Fail(err);

    TesTriMesh::CKrFit fit(ref);
    fit.SetFitType(type);
    if (!data.empty()) fit.SetLSD(data, diff);
    if (!lineBlocks.empty()) fit.SetYSX(ToPolylines(lineBlocks), diff);
    if (!bj.empty()) fit.SetBJX(bj, diff);
    if (!fit.CheckData()) {
        if (type == 1) return Fail("fit: type 1 fits to lines only (no --points, no --boundary)");
        return Fail("fit: type 2 needs exactly one point in --points and no --lines");
    }

    std::string buf = "# " + target + " fitted to " + reference + " (" + kTypeName[type] +
                      "): x y z; points that could not be fitted are listed as comments\n";
    std::size_t fitted = 0;
    for (const CKrPoint3d& p : todo) {
        CKrPoint3d q = p;
        if (fit.FitPt(q)) {
            ++fitted;
        } else {
            buf += "# not fitted: ";
        }
        AppendPoint(buf, q);
    }
    // Every point refused because no model could be built: say so.
    if (fit.IsDirty() && !todo.empty())
        return Fail("fit: no difference model could be built from the data (data off the reference surface, "
                    "lines that do not join, a fan without triangles, or too few points)");

    if (!WriteTextOutput(out, buf, err)) return Fail(err);
    std::FILE* report = out.empty() ? stderr : stdout;  // keep the data on stdout clean
    std::fprintf(report, "reference     %s (%s)\n", reference.c_str(), how.c_str());
    std::fprintf(report, "fit type      %d (%s), data as %s\n", type, kTypeName[type],
                 diff ? "differences" : "elevations");
    std::fprintf(report, "points        %zu\n", todo.size());
    std::fprintf(report, "fitted        %zu\n", fitted);
    std::fprintf(report, "not fitted    %zu\n", todo.size() - fitted);
    if (!out.empty()) std::fprintf(report, "written       %s\n", out.c_str());
    std::fprintf(report, "time          %.3f s\n", timer.Seconds());
    return 0;
}

}  // namespace krtes
