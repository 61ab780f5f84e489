// krtes tin: survey points, breaklines, outline and holes to a TIN.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"

namespace krtes {

namespace {

struct TinArgs {
    std::string points, breaklines, outline, holes, out;
    SKrSurveyOptions read;
    bool split = false;
};

int RunTin(const TinArgs& a, Report& r)
{
    const std::string points = a.points.empty() ? SamplePoints() : a.points;
    Progress& progress = r.Progress();
    Timer timer;
    std::string err;
    std::vector<CKrPoint3d> pts;
    progress.Step("reading " + points);
    if (!ReadSurveyPoints(points, pts, err, a.read)) return r.Fail(err);
    std::vector<std::vector<CKrPoint3d>> brk, outl, hol;
    if (!a.breaklines.empty() && !ReadSurveyLines(a.breaklines, brk, 2, err, true, a.read)) return r.Fail(err);
    if (!a.outline.empty()) {
        if (!ReadSurveyLines(a.outline, outl, 3, err, true, a.read)) return r.Fail(err);
        if (outl.size() != 1)
            return r.Fail(a.outline + ": an outline file holds exactly one polyline, found " +
                          std::to_string(outl.size()));
    }
    if (!a.holes.empty() && !ReadSurveyLines(a.holes, hol, 3, err, true, a.read)) return r.Fail(err);
    const double readTime = timer.Seconds();
    // Triangulating and writing a TIN peaks at about 660 bytes a point
    // (measured on a million random points); refuse one that cannot fit
    // rather than be killed by the system halfway.
    const double needGB = static_cast<double>(pts.size()) * 700.0 / 1e9;
    const double freeGB = static_cast<double>(krtes::ReadMemoryLimit()) / 1e9;
    if (needGB > freeGB) {
        char msg[160];
        std::snprintf(msg, sizeof msg, ": %zu points need about %.1f GB to triangulate, more than the %.1f GB free",
                      pts.size(), needGB, freeGB);
        return r.Fail(points + msg);
    }

    TesTriMesh::CKrMeshData mesh;
    std::size_t used = 0;
    {
        TesTriMesh::CKrDelaunay tin(mesh, 0.01);
        tin.SetFullHull(true);  // a survey surface covers the hull of its points
        for (const CKrPoint3d& p : pts) tin.AddVertex(p);
        used = mesh.m_setVer.size();  // duplicates within the tolerance count once
        for (const auto& l : brk) {
            const bool closed = l.size() > 2 && l.front() == l.back();
            std::vector<CKrPoint3d> pl(l.begin(), closed ? l.end() - 1 : l.end());
            tin.AddSegYS(pl, closed, false);
        }
        if (!outl.empty()) tin.SetOutline(outl[0]);
        for (const auto& h : hol) tin.AddHoleLine(h);
        tin.SetIsCheckYS(a.split);
        if (used < 3) return r.Fail(points + ": fewer than 3 usable points (" + std::to_string(used) + ")");

        if (progress.Enabled())
            tin.SetProgress([&progress](std::size_t done, std::size_t total) {
                progress.Fraction("triangulating", done, total);
            });
        else
            progress.Step("triangulating");
        if (!tin.Delaunay()) return r.Fail(points + ": the points could not be triangulated (all collinear?)");
    }
    const double tinTime = timer.Seconds() - readTime;

    std::vector<CKrPoint3d> vout;
    std::vector<KrTesGeo::_sTri_ID> tout;
    mesh.OutputData(vout, tout);
    const CKrPoint3d lo = mesh.GetMinLimit(), hi = mesh.GetMaxLimit();
    r["points_file"] = points;
    r["points_read"] = pts.size();
    r["points_distinct"] = used;
    r["vertices"] = vout.size();
    r["triangles"] = tout.size();
    r["extent"] = {{"min", Xyz(lo)}, {"max", Xyz(hi)}};
    r.Line("points read   %zu (%zu distinct)", pts.size(), used);
    r.Line("vertices      %zu", vout.size());
    r.Line("triangles     %zu", tout.size());
    r.Line("extent        x %.3f .. %.3f\n              y %.3f .. %.3f\n              z %.3f .. %.3f", lo.x, hi.x,
           lo.y, hi.y, lo.z, hi.z);
    if (!a.out.empty()) {
        progress.Step("writing " + a.out);
        if (!WriteMeshFile(a.out, vout, tout, err)) return r.Fail(err);
        r["output"] = a.out;
        r.Line("written       %s", a.out.c_str());
    }
    const double total = timer.Seconds();
    r["time"] = {{"total", total}, {"read", readTime}, {"triangulate", tinTime}};
    r.Line("time          %.3f s (read %.3f s, triangulate %.3f s)", total, readTime, tinTime);
    return r.Done();
}

}  // namespace

void AddTin(Cli& cli)
{
    auto a = std::make_shared<TinArgs>();
    CLI::App* c = cli.Add(
        "tin", "Triangulate survey points into a TIN (breaklines, outline, holes)",
        "POINTS holds one x y z per line. Polyline files hold one block of x y z lines per\n"
        "polyline, blocks separated by a blank line. Without POINTS the bundled sample terrain\n"
        "is used. Prints the points read, vertices, triangles, extent and time. A header row\n"
        "names the columns (x/e/easting, y/n/northing, z/elevation; others are carried), or\n"
        "--columns names them (a header row is then skipped);\n"
        ".gpkg, .shp, .dxf and .geojson files are read as vector layers.\n\n"
        "Examples:\n"
        "  krtes tin data/jacksboro_scattered.xyz -o terrain.obj\n"
        "  krtes tin survey.xyz --breaklines kerbs.txt --outline site.txt --json -o site.ply\n"
        "  krtes tin export.csv --columns id,n,e,z,code -o ground.xml",
        [a](Report& r) { return RunTin(*a, r); });
    AddFile(c, "POINTS", a->points, "Survey points, x y z per line (default: the bundled sample terrain)");
    AddFile(c, "--breaklines", a->breaklines, "Polylines that become edges of the surface");
    AddFile(c, "--outline", a->outline, "One closed polyline that clips the surface");
    AddFile(c, "--holes", a->holes, "Closed polylines cut out of the surface");
    c->add_option("--columns", a->read.columns, "Column names of a point table, e.g. id,e,n,z,code")
        ->type_name("NAMES");
    c->add_option("--z-field", a->read.zField, "Attribute holding the elevation in vector layers, e.g. ELEV")
        ->type_name("NAME");
    c->add_flag("--split-crossings", a->split, "Put a vertex where two breaklines cross (otherwise the later wins)");
#ifdef KRTES_HAVE_PUGIXML
    AddOutput(c, a->out, "Write the TIN to OUT (.obj, .ply or LandXML .xml)", {".obj", ".ply", ".xml"});
#else
    AddOutput(c, a->out, "Write the TIN to OUT (.obj or .ply)", {".obj", ".ply"});
#endif
}

}  // namespace krtes
