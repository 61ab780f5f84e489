// krtes fit: heights of new points fitted to a reference surface and data.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrFit.h"

namespace krtes {

namespace {

struct FitArgs {
    std::string reference, points, lines, boundary, target, out, type = "0";
    bool diff = false;
};

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

int RunFit(const FitArgs& a, Report& r)
{
    if (a.points.empty() && a.lines.empty()) throw UsageError("no data given (--points and/or --lines)");
    NeedOutputForJson(r, a.out, "fitted points");
    const int type = a.type[0] - '0';

    Progress& progress = r.Progress();
    Timer timer;
    std::string err, how;
    TesTriMesh::CKrMeshData ref;
    progress.Step("reading " + a.reference);
    if (!ReadSurfaceFile(a.reference, ref, how, err)) return r.Fail(err);
    std::vector<CKrPoint3d> data, bj, todo;
    std::vector<std::vector<CKrPoint3d>> lineBlocks, bjBlocks;
    progress.Step("reading the data");
    if (!a.points.empty() && !ReadPointFile(a.points, data, err)) return r.Fail(err);
    if (!a.lines.empty() && !ReadPolylineFile(a.lines, lineBlocks, 2, err)) return r.Fail(err);
    if (!a.boundary.empty()) {
        if (!ReadPolylineFile(a.boundary, bjBlocks, 3, err)) return r.Fail(err);
        if (bjBlocks.size() != 1)
            return r.Fail(a.boundary + ": a boundary file holds exactly one polyline, found " +
                          std::to_string(bjBlocks.size()));
        bj = bjBlocks[0];
        if (bj.size() > 3 && bj.front() == bj.back()) bj.pop_back();  // the fan closes it itself
    }
    if (!ReadPointFile(a.target, todo, err)) return r.Fail(err);

    TesTriMesh::CKrFit fit(ref);
    fit.SetFitType(type);
    if (!data.empty()) fit.SetLSD(data, a.diff);
    if (!lineBlocks.empty()) fit.SetYSX(ToPolylines(lineBlocks), a.diff);
    if (!bj.empty()) fit.SetBJX(bj, a.diff);
    if (!fit.CheckData()) {
        if (type == 1) return r.Fail("type 1 fits to lines only (no --points, no --boundary)");
        return r.Fail("type 2 needs exactly one point in --points and no --lines");
    }

    std::string buf = "# " + a.target + " fitted to " + a.reference + " (" + kTypeName[type] +
                      "): x y z; points that could not be fitted are listed as comments\n";
    std::size_t fitted = 0;
    for (std::size_t k = 0; k < todo.size(); ++k) {
        if (k % 1024 == 0) progress.Fraction("fitting", k, todo.size());
        CKrPoint3d q = todo[k];
        if (fit.FitPt(q)) {
            ++fitted;
        } else {
            buf += "# not fitted: ";
        }
        AppendPoint(buf, q);
    }
    // Every point refused because no model could be built: say so.
    if (fit.IsDirty() && !todo.empty())
        return r.Fail("no difference model could be built from the data (data off the reference surface, "
                      "lines that do not join, a fan without triangles, or too few points)");

    if (!r.WriteText(a.out, buf, err)) return r.Fail(err);
    r["reference"] = a.reference;
    r["reference_kind"] = how;
    r["fit_type"] = type;
    r["fit_type_name"] = kTypeName[type];
    r["data_as"] = a.diff ? "differences" : "elevations";
    r["points"] = todo.size();
    r["fitted"] = fitted;
    r["not_fitted"] = todo.size() - fitted;
    r.Line("reference     %s (%s)", a.reference.c_str(), how.c_str());
    r.Line("fit type      %d (%s), data as %s", type, kTypeName[type], a.diff ? "differences" : "elevations");
    r.Line("points        %zu", todo.size());
    r.Line("fitted        %zu", fitted);
    r.Line("not fitted    %zu", todo.size() - fitted);
    return r.Finish(a.out, timer.Seconds());
}

}  // namespace

void AddFit(Cli& cli)
{
    auto a = std::make_shared<FitArgs>();
    CLI::App* c = cli.Add(
        "fit", "Fit the heights of points to a reference surface and measured data",
        "POINTS_TO_FIT holds x y z per line; z is replaced. Type 0 fits a surface through the\n"
        "differences (outside it, the nearest outline difference), 1 one line joined from\n"
        "--lines alone, 2 a fan from the one --points point to --boundary. Writes x y z lines;\n"
        "refused points are listed as '# not fitted:' comments.\n\n"
        "Examples:\n"
        "  krtes fit terrain.obj --points levels.xyz new.xyz -o fitted.xyz\n"
        "  krtes fit terrain.obj --points apex.xyz --boundary edge.txt --type 2 new.xyz",
        [a](Report& r) { return RunFit(*a, r); });
    AddFile(c, "REFERENCE", a->reference, "Mesh or point file of the reference surface", true);
    AddFile(c, "POINTS_TO_FIT", a->target, "Points whose heights are fitted, x y z per line", true);
    AddFile(c, "--points", a->points, "Measured points");
    AddFile(c, "--lines", a->lines, "Measured lines (polyline blocks)");
    AddFile(c, "--boundary", a->boundary, "One measured boundary polyline");
    c->add_flag("--diff", a->diff, "The data are differences (reference minus measured), not elevations");
    AddChoice(c, "--type", a->type, {"0", "1", "2"}, "Fit type (default 0)");
    AddOutput(c, a->out, "Write the fitted points to OUT (default: standard output)");
}

}  // namespace krtes
