// krtes boolean: union, intersection and differences of two closed solids.
#include <unistd.h>

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

// Reads a solid and checks it; an inward-facing solid is turned outward.
bool ReadSolid(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& note, std::string& err)
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
    if (TesTriMesh::SolidVolume(pts, tris) < 0.0) {
        mesh.Invert();
        note = path + ": faces inward; turned outward";
    }
    return true;
}

}  // namespace

int CmdBoolean(int argc, char** argv)
{
    std::string inA, inB, op, out, diag;
    for (int i = 0; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--op") {
            if (!NextValue(argc, argv, i, op)) return Fail("--op needs union, intersection, a-minus-b or b-minus-a");
        } else if (a == "-o" || a == "--output") {
            if (!NextValue(argc, argv, i, out)) return Fail("-o needs a file");
        } else if (a == "--diagnostics") {
            if (!NextValue(argc, argv, i, diag)) return Fail("--diagnostics needs a directory");
        } else if (!a.empty() && a[0] == '-') {
            return Fail("boolean: unknown option '" + a + "' (see krtes --help)");
        } else if (inA.empty()) {
            inA = a;
        } else if (inB.empty()) {
            inB = a;
        } else {
            return Fail("boolean: more than two solids given");
        }
    }
    if (inA.empty() || inB.empty()) return Fail("boolean: two solids A and B are needed (OBJ, PLY or STL)");
    if (op != "union" && op != "intersection" && op != "a-minus-b" && op != "b-minus-a")
        return Fail("boolean: --op must be union, intersection, a-minus-b or b-minus-a");
    if (out.empty()) return Fail("boolean: -o OUT is needed");
    const std::string ext = Extension(out);
    if (ext != ".obj" && ext != ".ply") return Fail(out + ": unknown output format (use .obj or .ply)");

    Timer timer;
    std::string err, noteA, noteB;
    TesTriMesh::CKrMeshData a(0.01), b(0.01);
    if (!ReadSolid(inA, a, noteA, err) || !ReadSolid(inB, b, noteB, err)) return Fail(err);
    for (const std::string& n : {noteA, noteB})
        if (!n.empty()) std::printf("note          %s\n", n.c_str());
    const long trisA = a.TriNum(), trisB = b.TriNum();
    const double readTime = timer.Seconds();

    // The construction writes its diagnostic files into the working
    // directory: it runs in a private one, from which the files are moved
    // to --diagnostics DIR or dropped.
    std::error_code ec;
    const fs::path home = fs::current_path(ec);
    if (ec) return Fail("boolean: cannot read the working directory: " + ec.message());
    std::string tmpl = (fs::temp_directory_path(ec) / "krtes_boolean_XXXXXX").string();
    if (ec || !mkdtemp(tmpl.data())) return Fail("boolean: cannot create a temporary directory");
    const fs::path work(tmpl);
    fs::path diagDir;
    if (!diag.empty()) {
        diagDir = fs::absolute(diag, ec);
        fs::create_directories(diagDir, ec);
        if (ec || !fs::is_directory(diagDir)) {
            fs::remove_all(work, ec);
            return Fail(diag + ": cannot create the diagnostics directory");
        }
    }
    fs::current_path(work, ec);
    if (ec) {
        fs::remove_all(work, ec);
        return Fail("boolean: cannot enter a temporary directory");
    }
    TesTriMesh::CKrSolidBoolean solid(a, b);
    fs::current_path(home, ec);
    std::string moved, copyErr;
    if (!diagDir.empty()) {
        for (const char* f : TesTriMesh::kBooleanDiagnosticFiles) {
            std::error_code e2;
            fs::copy_file(work / f, diagDir / f, fs::copy_options::overwrite_existing, e2);
            if (e2 && copyErr.empty()) copyErr = diag + ": cannot write " + f + ": " + e2.message();
        }
        moved = diagDir.string();
    }
    fs::remove_all(work, ec);
    if (!copyErr.empty()) return Fail(copyErr);
    const double classifyTime = timer.Seconds() - readTime;

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

    std::printf("solid A       %ld triangles, %ld after cutting: %zu outside B, %zu inside, %zu on B facing the same "
                "way, %zu facing the other way\n",
                trisA, a.TriNum(), solid.AOutside().size(), solid.AInside().size(), solid.ASame().size(),
                solid.AOpposite().size());
    std::printf("solid B       %ld triangles, %ld after cutting: %zu outside A, %zu inside, %zu on A facing the same "
                "way, %zu facing the other way\n",
                trisB, b.TriNum(), solid.BOutside().size(), solid.BInside().size(), solid.BSame().size(),
                solid.BOpposite().size());
    if (!solid.AFifth().empty() || !solid.BFifth().empty())
        std::printf("warning       %zu triangles of A and %zu of B could not be classified (degenerate) and are left out\n",
                    solid.AFifth().size(), solid.BFifth().size());
    std::printf("result        %s: %zu vertices, %zu triangles, volume %.6f\n", op.c_str(), pts.size(), tris.size(),
                TesTriMesh::SolidVolume(pts, tris));
    if (!tris.empty()) {
        const std::string fault = SolidFault(pts, tris);
        if (!fault.empty()) std::printf("warning       the result is %s\n", fault.c_str());
    }
    if (!WriteMeshFile(out, pts, tris, err)) return Fail(err);
    std::printf("written       %s\n", out.c_str());
    if (!moved.empty()) std::printf("diagnostics   %s\n", moved.c_str());
    std::printf("time          %.3f s (read %.3f s, cut and classify %.3f s)\n", timer.Seconds(), readTime,
                classifyTime);
    return 0;
}

}  // namespace krtes
