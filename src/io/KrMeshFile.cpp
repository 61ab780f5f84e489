#include "KrTesGeometry/io/KrMeshFile.h"

#include <cctype>

#include "KrTesGeometry/io/KrObjFile.h"
#include "KrTesGeometry/io/KrPlyFile.h"
#include "KrTesGeometry/io/KrPointFile.h"
#include "KrTesGeometry/io/KrStlFile.h"
#include "KrTesGeometry/io/KrSurveyFiles.h"
#ifdef KRTES_HAVE_PUGIXML
#include "KrTesGeometry/io/KrLandXmlFile.h"
#endif
#include "KrTesGeometry/math/CGeDataTriMesh.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/tin/KrDelaunay.h"
#include "io/KrMeshParts.h"

namespace krtes {

using KrTesGeo::_sTri_ID;

std::string Extension(const std::string& path)
{
    const std::size_t slash = path.find_last_of("/\\");
    const std::size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string e = path.substr(dot);
    for (char& c : e) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return e;
}

bool IsMeshFileName(const std::string& path)
{
    const std::string ext = Extension(path);
    return ext == ".obj" || ext == ".ply" || ext == ".stl";
}

bool ReadMeshFile(const std::string& path, std::vector<CKrPoint3d>& pts, std::vector<_sTri_ID>& tris, std::string& err)
{
    const std::string ext = Extension(path);
    std::vector<CKrPoint3d> p;
    std::vector<_sTri_ID> t;
    bool ok = false;
    if (ext == ".obj")
        ok = ReadObjFile(path, p, t, err);
    else if (ext == ".ply")
        ok = ReadPlyFile(path, p, t, err);
    else if (ext == ".stl")
        ok = ReadStlFile(path, p, t, err);
    else
        err = path + ": unknown mesh format '" + ext + "' (use .obj, .ply or .stl)";
    if (!ok) return false;
    if (t.empty()) {
        err = path + ": the file holds no triangles";
        return false;
    }
    if (static_cast<int64_t>(t.size()) > io::kMaxCount) {
        err = path + ": too many triangles";
        return false;
    }
    pts.swap(p);
    tris.swap(t);
    return true;
}

bool ReadMeshFile(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& err)
{
    std::vector<CKrPoint3d> pts;
    std::vector<_sTri_ID> tris;
    if (!ReadMeshFile(path, pts, tris, err)) return false;
    mesh.InputData(pts, tris, true);
    if (mesh.TriNum() == 0) {
        err = path + ": no usable triangle (all collapse when vertices closer than " +
              std::to_string(TesTriMesh::g_dVerTol) + " are merged)";
        return false;
    }
    return true;
}

bool ReadMeshFile(const std::string& path, CGeDataTriMesh& mesh, std::string& err)
{
    std::vector<CKrPoint3d> pts;
    std::vector<_sTri_ID> tris;
    if (!ReadMeshFile(path, pts, tris, err)) return false;
    mesh.Clear();
    mesh.m_arrPts.SetSize(static_cast<int32_t>(pts.size()));
    for (std::size_t i = 0; i < pts.size(); ++i)
        mesh.m_arrPts.m_pData[i] = new CGeDataPoint3D(pts[i].x, pts[i].y, pts[i].z);
    mesh.m_arrTris.SetSize(static_cast<int32_t>(tris.size()));
    for (std::size_t i = 0; i < tris.size(); ++i)
        mesh.m_arrTris.m_pData[i] = new CGeDataTriIndex(tris[i][0], tris[i][1], tris[i][2]);
    return true;
}

bool ReadSurfaceFile(const std::string& path, TesTriMesh::CKrMeshData& mesh, std::string& how, std::string& err)
{
    if (IsMeshFileName(path)) {
        if (!ReadMeshFile(path, mesh, err)) return false;
        how = "mesh of " + std::to_string(mesh.TriNum()) + " triangles";
        return true;
    }
    if (IsSurveySurfaceName(path)) {  // LandXML, elevation grids
        std::vector<CKrPoint3d> pts;
        std::vector<_sTri_ID> tris;
        std::string crs;
        if (!ReadSurvey(path, pts, tris, crs, how, err)) return false;
        mesh.InputData(pts, tris, true);
        if (mesh.TriNum() == 0) {
            err = path + ": no usable triangle";
            return false;
        }
        return true;
    }
    std::vector<CKrPoint3d> pts;
    if (!ReadPointFile(path, pts, err)) return false;
    mesh.ClearAllData();
    bool ok = false;
    {
        TesTriMesh::CKrDelaunay tin(mesh, 0.01);
        tin.SetFullHull(true);
        for (const CKrPoint3d& p : pts) tin.AddVertex(p);
        ok = mesh.m_setVer.size() >= 3 && tin.Delaunay();
    }
    if (!ok) {
        err = path + ": the points do not form a surface (fewer than 3 distinct points, or all collinear)";
        return false;
    }
    how = "TIN of " + std::to_string(pts.size()) + " points, " + std::to_string(mesh.TriNum()) + " triangles";
    return true;
}

bool WriteMeshFile(const std::string& path, const std::vector<CKrPoint3d>& pts, const std::vector<_sTri_ID>& tris,
                   std::string& err)
{
    const std::string ext = Extension(path);
    if (ext == ".obj") return WriteObjFile(path, pts, tris, err);
    if (ext == ".ply") return WritePlyFile(path, pts, tris, err);
#ifdef KRTES_HAVE_PUGIXML
    if (IsLandXmlFileName(path)) {
        SKrLandXmlFile f;
        f.surfaces.push_back(MakeLandXmlSurface("TIN", pts, tris));
        return WriteLandXmlFile(path, f, err);
    }
    err = path + ": unknown output format '" + ext + "' (use .obj, .ply or .xml)";
#else
    err = path + ": unknown output format '" + ext + "' (use .obj or .ply)";
#endif
    return false;
}

}  // namespace krtes
