// krtes boolean: union, intersection and differences of two closed solids.
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "KrTesCommands.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/boolean/KrBooleanDiagnostics.h"
#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"

namespace krtes {

namespace {

namespace fs = std::filesystem;

std::string Pt(const CKrPoint3d& p)
{
    char buf[128];
    std::snprintf(buf, sizeof buf, "(%.3f, %.3f, %.3f)", p.x, p.y, p.z);
    return buf;
}

// Empty when the triangles bound a closed, consistently oriented surface.
// Otherwise a sentence saying what is wrong.
std::string SolidFault(const std::vector<CKrPoint3d>& pts, const std::vector<KrTesGeo::_sTri_ID>& tris)
{
    const TesTriMesh::SKrSolidCheck c = TesTriMesh::CheckClosedSolid(pts, tris);
    auto at = [&](const int e[2]) {
        return " (first between " + Pt(pts[static_cast<std::size_t>(e[0])]) + " and " +
               Pt(pts[static_cast<std::size_t>(e[1])]) + ")";
    };
    if (c.openEdges)
        return "not closed: " + std::to_string(c.openEdges) + " edges have a triangle on one side only" +
               at(c.firstOpen);
    if (c.overSharedEdges)
        return "not a simple solid: " + std::to_string(c.overSharedEdges) +
               " edges are shared by more than two triangles" + at(c.firstOverShared);
    if (c.flippedEdges)
        return "not consistently oriented: " + std::to_string(c.flippedEdges) +
               " edges are run the same way by both their triangles" + at(c.firstFlipped);
    return "";
}

// Why a result cannot be trusted, as one sentence per fault; empty when it
// is sound. Besides the checks of the surface itself, its volume must lie
// where the operation can put it given the volumes of A and B.
std::vector<std::string> ResultFaults(const TesTriMesh::CKrSolidBoolean& solid, const std::string& op,
                                      double volA, double volB, const std::vector<CKrPoint3d>& pts,
                                      const std::vector<KrTesGeo::_sTri_ID>& tris)
{
    std::vector<std::string> faults;
    if (!solid.IsAClassified())
        faults.push_back("the triangles of A could not all be sorted against B (the cut or the sort failed)");
    if (!solid.IsBClassified())
        faults.push_back("the triangles of B could not all be sorted against A (the cut or the sort failed)");
    if (tris.empty()) return faults;
    const std::string fault = SolidFault(pts, tris);
    if (!fault.empty()) faults.push_back("the result is " + fault);
    const auto pairs = TesTriMesh::FindSelfIntersections(pts, tris, 100);
    if (!pairs.empty()) {
        const KrTesGeo::_sTri_ID& t = tris[pairs[0].first];
        faults.push_back("the result runs into itself: " + std::string(pairs.size() == 100 ? "100 or more" : "") +
                         (pairs.size() == 100 ? "" : std::to_string(pairs.size())) +
                         " pairs of triangles meet beyond their shared corners (first the triangle at " +
                         Pt(pts[static_cast<std::size_t>(t.nID[0])]) + ", " + Pt(pts[static_cast<std::size_t>(t.nID[1])]) +
                         ", " + Pt(pts[static_cast<std::size_t>(t.nID[2])]) + ")");
    }
    double lo = 0.0, hi = 0.0;
    if (op == "union") {
        lo = std::max(volA, volB);
        hi = volA + volB;
    } else if (op == "intersection") {
        hi = std::min(volA, volB);
    } else if (op == "a-minus-b") {
        lo = volA - volB;
        hi = volA;
    } else {
        lo = volB - volA;
        hi = volB;
    }
    const double vol = TesTriMesh::SolidVolume(pts, tris), slack = 1e-6 * (volA + volB);
    if (!(vol >= lo - slack && vol <= hi + slack)) {
        char buf[200];
        std::snprintf(buf, sizeof buf, "the result's volume %.6f lies outside the range %.6f to %.6f that %s allows",
                      vol, std::max(lo, 0.0), hi, op.c_str());
        faults.push_back(buf);
    }
    return faults;
}

// The triangles rotated to start at their lowest index and sorted, so that
// the file does not follow the memory order of the mesh's records.
void SortTris(std::vector<KrTesGeo::_sTri_ID>& tris)
{
    for (KrTesGeo::_sTri_ID& t : tris) {
        const int k = t.nID[0] <= t.nID[1] && t.nID[0] <= t.nID[2] ? 0 : (t.nID[1] <= t.nID[2] ? 1 : 2);
        t = KrTesGeo::_sTri_ID(t.nID[k], t.nID[(k + 1) % 3], t.nID[(k + 2) % 3]);
    }
    std::sort(tris.begin(), tris.end(), [](const KrTesGeo::_sTri_ID& x, const KrTesGeo::_sTri_ID& y) {
        return std::lexicographical_compare(x.nID, x.nID + 3, y.nID, y.nID + 3);
    });
}

// Reads a solid and checks it; an inward-facing solid is turned outward.
bool ReadSolid(const std::string& path, TesTriMesh::CKrMeshData& mesh, double& volume, std::string& note,
               std::string& err)
{
    if (!ReadMeshFile(path, mesh, err)) return false;
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    mesh.OutputData(pts, tris);
    const std::string fault = SolidFault(pts, tris);
    if (!fault.empty()) {
        err = path + ": " + fault + "; a boolean needs closed solids";
        return false;
    }
    volume = TesTriMesh::SolidVolume(pts, tris);
    if (volume < 0.0) {
        mesh.Invert();
        volume = -volume;
        note = path + ": faces inward; turned outward";
    }
    return true;
}

struct BooleanArgs {
    std::string inA, inB, op, out, diag;
    bool keepBroken = false;
};

// What the sort made of one solid, for the JSON report.
nlohmann::json SortJson(const std::string& file, long before, long after, double volume, bool turned,
                        std::size_t outside, std::size_t inside, std::size_t same, std::size_t opposite)
{
    return {{"file", file},       {"triangles", before}, {"triangles_cut", after}, {"volume", volume},
            {"turned_outward", turned}, {"outside", outside}, {"inside", inside},   {"same", same},
            {"opposite", opposite}};
}

int RunBoolean(const BooleanArgs& args, Report& r)
{
    const std::string& op = args.op;
    const std::string& out = args.out;
    Progress& progress = r.Progress();
    Timer timer;
    std::string err, noteA, noteB;
    TesTriMesh::CKrMeshData a(0.01), b(0.01);
    double volA = 0.0, volB = 0.0;
    progress.Step("reading " + args.inA);
    if (!ReadSolid(args.inA, a, volA, noteA, err)) return r.Fail(err);
    progress.Step("reading " + args.inB);
    if (!ReadSolid(args.inB, b, volB, noteB, err)) return r.Fail(err);
    for (const std::string& n : {noteA, noteB})
        if (!n.empty()) {
            r["warnings"].push_back(n);
            r.Line("note          %s", n.c_str());
        }
    const long trisA = a.TriNum(), trisB = b.TriNum();
    const double readTime = timer.Seconds();

    // The construction writes its diagnostic files into the working
    // directory: it runs in a private one, from which the files are moved
    // to --diagnostics DIR or dropped.
    std::error_code ec;
    const fs::path home = fs::current_path(ec);
    if (ec) return r.Fail("cannot read the working directory: " + ec.message());
    std::string tmpl = (fs::temp_directory_path(ec) / "krtes_boolean_XXXXXX").string();
    if (ec || !mkdtemp(tmpl.data())) return r.Fail("cannot create a temporary directory");
    const fs::path work(tmpl);
    fs::path diagDir;
    if (!args.diag.empty()) {
        diagDir = fs::absolute(args.diag, ec);
        fs::create_directories(diagDir, ec);
        if (ec || !fs::is_directory(diagDir)) {
            fs::remove_all(work, ec);
            return r.Fail(args.diag + ": cannot create the diagnostics directory");
        }
    }
    fs::current_path(work, ec);
    if (ec) {
        fs::remove_all(work, ec);
        return r.Fail("cannot enter a temporary directory");
    }
    progress.Step("cutting and sorting");
    TesTriMesh::CKrSolidBoolean solid(a, b);
    fs::current_path(home, ec);
    std::string moved, copyErr;
    if (!diagDir.empty()) {
        for (const char* f : TesTriMesh::kBooleanDiagnosticFiles) {
            std::error_code e2;
            fs::copy_file(work / f, diagDir / f, fs::copy_options::overwrite_existing, e2);
            if (e2 && copyErr.empty()) copyErr = args.diag + ": cannot write " + f + ": " + e2.message();
        }
        moved = diagDir.string();
    }
    fs::remove_all(work, ec);
    if (!copyErr.empty()) return r.Fail(copyErr);
    const double classifyTime = timer.Seconds() - readTime;

    progress.Step("joining the " + op);
    TesTriMesh::CKrMeshData result(0.01);
    if (op == "union")
        solid.Union_A_And_B(result);
    else if (op == "intersection")
        solid.Intersect_A_And_B(result);
    else if (op == "a-minus-b")
        solid.Diference_A_And_B(result);
    else
        solid.Diference_B_And_A(result);
    std::vector<CKrPoint3d> pts;
    std::vector<KrTesGeo::_sTri_ID> tris;
    result.OutputData(pts, tris);
    SortTris(tris);

    const double volume = TesTriMesh::SolidVolume(pts, tris);
    r["op"] = op;
    r["a"] = SortJson(args.inA, trisA, a.TriNum(), volA, !noteA.empty(), solid.AOutside().size(),
                      solid.AInside().size(), solid.ASame().size(), solid.AOpposite().size());
    r["b"] = SortJson(args.inB, trisB, b.TriNum(), volB, !noteB.empty(), solid.BOutside().size(),
                      solid.BInside().size(), solid.BSame().size(), solid.BOpposite().size());
    r["unclassified"] = {{"a", solid.AFifth().size()}, {"b", solid.BFifth().size()}};
    r["result"] = {{"vertices", pts.size()}, {"triangles", tris.size()}, {"volume", volume}};
    r["diagnostics"] = moved.empty() ? nlohmann::json(nullptr) : nlohmann::json(moved);
    r.Line("solid A       %ld triangles, %ld after cutting: %zu outside B, %zu inside, %zu on B facing the same "
           "way, %zu facing the other way",
           trisA, a.TriNum(), solid.AOutside().size(), solid.AInside().size(), solid.ASame().size(),
           solid.AOpposite().size());
    r.Line("solid B       %ld triangles, %ld after cutting: %zu outside A, %zu inside, %zu on A facing the same "
           "way, %zu facing the other way",
           trisB, b.TriNum(), solid.BOutside().size(), solid.BInside().size(), solid.BSame().size(),
           solid.BOpposite().size());
    if (!solid.AFifth().empty() || !solid.BFifth().empty())
        r.Warn(std::to_string(solid.AFifth().size()) + " triangles of A and " + std::to_string(solid.BFifth().size()) +
               " of B could not be classified (degenerate) and are left out");
    r.Line("result        %s: %zu vertices, %zu triangles, volume %.6f", op.c_str(), pts.size(), tris.size(), volume);
    // A broken result is an error: nothing is written unless asked for.
    progress.Step("checking the result");
    const std::vector<std::string> faults = ResultFaults(solid, op, volA, volB, pts, tris);
    progress.Clear();
    r["errors"] = faults;
    r["broken_kept"] = false;
    for (const std::string& f : faults) r.Line("error         %s", f.c_str());
    auto times = [&] {
        const double total = timer.Seconds();
        r["time"] = {{"total", total}, {"read", readTime}, {"classify", classifyTime}};
        return total;
    };
    if (!faults.empty() && !args.keepBroken) {
        if (!moved.empty()) r.Line("diagnostics   %s", moved.c_str());
        times();
        return r.Fail(faults[0] + "; " + out + " not written (--keep-broken writes it anyway)");
    }
    progress.Step("writing " + out);
    if (!WriteMeshFile(out, pts, tris, err)) return r.Fail(err);
    r["output"] = out;
    r["broken_kept"] = !faults.empty();
    r.Line("written       %s%s", out.c_str(), faults.empty() ? "" : " (broken, kept as asked)");
    if (!moved.empty()) r.Line("diagnostics   %s", moved.c_str());
    const double total = times();
    r.Line("time          %.3f s (read %.3f s, cut and classify %.3f s)", total, readTime, classifyTime);
    if (!faults.empty()) return r.Fail(faults[0]);
    return r.Done();
}

}  // namespace

void AddBoolean(Cli& cli)
{
    auto a = std::make_shared<BooleanArgs>();
    CLI::App* c = cli.Add(
        "boolean", "Union, intersection or difference of two closed solids",
        "A and B must be closed and consistently oriented (an inside-out solid is turned\n"
        "outward). When a solid could not be sorted against the other, or the result is not\n"
        "closed, not consistently oriented, runs into itself or has a volume the operation\n"
        "cannot give, the command names the fault and exits with 1 without writing OUT.\n\n"
        "Examples:\n"
        "  krtes boolean a.obj b.obj --op union -o both.obj\n"
        "  krtes boolean pit.stl bench.stl --op a-minus-b -o cut.ply --diagnostics diag --json",
        [a](Report& r) { return RunBoolean(*a, r); });
    AddFile(c, "A", a->inA, "First solid (.obj, .ply or .stl)", true);
    AddFile(c, "B", a->inB, "Second solid (.obj, .ply or .stl)", true);
    AddChoice(c, "--op", a->op, {"union", "intersection", "a-minus-b", "b-minus-a"}, "The operation")->required();
    AddOutput(c, a->out, "Write the result to OUT (.obj or .ply)", {".obj", ".ply"})->required();
    c->add_option("--diagnostics", a->diag, "Keep the construction's diagnostic files in DIR (made if need be)")
        ->type_name("DIR");
    c->add_flag("--keep-broken", a->keepBroken, "Write OUT even when the result is broken (the exit code stays 1)");
}

}  // namespace krtes
