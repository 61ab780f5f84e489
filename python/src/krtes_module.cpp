// The Python module `krtes._krtes`: TINs, solid booleans and mesh contact on
// NumPy arrays. A small surface of its own rather than a mirror of the C++
// classes; the package `krtes` (python/krtes/__init__.py) re-exports it.
//
// Arrays come in through one buffer each (no per-point Python work), are
// checked for dtype and shape before anything is built, and leave as fresh
// NumPy copies. Long work runs with the GIL released.
#include <pybind11/functional.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "KrTesGeometry/boolean/KrBooleanDiagnostics.h"
#include "KrTesGeometry/boolean/KrSolidBoolean.h"
#include "KrTesGeometry/collision/KrMeshContact.h"
#include "KrTesGeometry/geom/KrPoint3d.h"
#include "KrTesGeometry/geom/KrPolyLine.h"
#include "KrTesGeometry/geom/KrSeg3d.h"
#include "KrTesGeometry/geom/sTriID.h"
#include "KrTesGeometry/io/KrTesIO.h"
#include "KrTesGeometry/mesh/KrMeshData.h"
#include "KrTesGeometry/mesh/KrMeshSolid.h"
#include "KrTesGeometry/query/KrMeshQuery.h"
#include "KrTesGeometry/tin/KrDelaunay.h"
#if KRTES_PY_EARTHWORKS
#include "KrTesGeometry/earthworks/KrContour.h"
#include "KrTesGeometry/earthworks/KrEarthVolume.h"
#endif

namespace py = pybind11;
namespace fs = std::filesystem;
using KrTesGeo::_sTri_ID;
using TesTriMesh::CKrMeshData;

namespace {

// ---- errors -------------------------------------------------------------------

// A library operation failed (its message says why); krtes.KrtesError.
struct KrtesError : std::runtime_error {
    using std::runtime_error::runtime_error;
};
// A solid given to boolean() is not closed and consistently oriented;
// krtes.SolidError, a ValueError.
struct SolidError : std::runtime_error {
    using std::runtime_error::runtime_error;
};
// The boolean could not sort the triangles of the two solids, or composed a
// result that is not a solid; krtes.BooleanError, a KrtesError.
struct BooleanError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Every construction of a CKrMeshData or a CKrDelaunay writes process-wide
// tolerances, and a boolean changes the working directory: such work runs
// one call at a time. Queries on a finished surface do not take this lock.
std::mutex& LibraryMutex()
{
    static std::mutex m;
    return m;
}

// ---- array input --------------------------------------------------------------

using DoubleArray = py::array_t<double, py::array::c_style | py::array::forcecast>;
using IndexArray = py::array_t<int64_t, py::array::c_style | py::array::forcecast>;

std::string ShapeText(const py::array& a)
{
    std::string s = "(";
    for (py::ssize_t k = 0; k < a.ndim(); ++k) s += (k ? ", " : "") + std::to_string(a.shape(k));
    return s + (a.ndim() == 1 ? ",)" : ")");
}

// Any object NumPy turns into an array whose elements are numbers of the
// allowed kinds; anything else (strings, objects, complex, dates) is a
// TypeError naming the argument.
py::array AsArray(py::handle obj, const char* name, const char* kinds, const char* what)
{
    py::array a = py::array::ensure(obj);
    if (!a) throw py::type_error(std::string(name) + " must be an array of " + what);
    const char kind = a.dtype().kind();
    if (!std::strchr(kinds, kind))
        throw py::type_error(std::string(name) + " must be an array of " + what + ", got dtype " +
                             std::string(py::str(a.dtype())));
    return a;
}

// An (n, cols) float64 C-order array (cols one of c1, c2), converted from any
// real numeric array, C or Fortran order, contiguous or strided.
DoubleArray Coords(py::handle obj, const char* name, py::ssize_t c1, py::ssize_t c2 = -1)
{
    py::array a = AsArray(obj, name, "biuf", "real numbers");
    if (a.ndim() != 2 || (a.shape(1) != c1 && a.shape(1) != c2)) {
        std::string want = "(n, " + std::to_string(c1) + ")";
        if (c2 > 0) want += " or (n, " + std::to_string(c2) + ")";
        throw py::value_error(std::string(name) + " must have shape " + want + ", got " + ShapeText(a));
    }
    return DoubleArray::ensure(a);
}

// The rows of an (n, 2|3) array as points (z 0 for plan rows); every
// coordinate must be finite.
std::vector<CKrPoint3d> Points(const DoubleArray& a, const char* name)
{
    const py::ssize_t n = a.shape(0), cols = a.shape(1);
    const double* d = a.data();
    std::vector<CKrPoint3d> pts(static_cast<std::size_t>(n));
    for (py::ssize_t i = 0; i < n; ++i) {
        const double* r = d + i * cols;
        const double z = cols == 3 ? r[2] : 0.0;
        if (!std::isfinite(r[0]) || !std::isfinite(r[1]) || !std::isfinite(z))
            throw py::value_error(std::string(name) + ": row " + std::to_string(i) + " has a coordinate that is not finite");
        pts[static_cast<std::size_t>(i)] = CKrPoint3d(r[0], r[1], z);
    }
    return pts;
}

std::vector<CKrPoint3d> PointsOf(py::handle obj, const char* name, py::ssize_t minRows, bool planOk)
{
    DoubleArray a = planOk ? Coords(obj, name, 3, 2) : Coords(obj, name, 3);
    if (a.shape(0) < minRows)
        throw py::value_error(std::string(name) + " needs at least " + std::to_string(minRows) + " points, got " +
                              std::to_string(a.shape(0)));
    return Points(a, name);
}

// A list of polylines: a sequence of (k, 3) arrays. None is no line.
std::vector<std::vector<CKrPoint3d>> Lines(py::handle obj, const char* name, py::ssize_t minRows, bool planOk)
{
    std::vector<std::vector<CKrPoint3d>> out;
    if (obj.is_none()) return out;
    // A single (k, 3) array is a common slip for a list holding one line.
    if ((py::isinstance<py::array>(obj) && py::cast<py::array>(obj).ndim() != 3) ||
        !py::isinstance<py::sequence>(obj) || py::isinstance<py::str>(obj))
        throw py::type_error(std::string(name) + " must be a list of (k, 3) arrays");
    std::size_t i = 0;
    for (py::handle item : obj) {
        const std::string itemName = std::string(name) + "[" + std::to_string(i++) + "]";
        out.push_back(PointsOf(item, itemName.c_str(), minRows, planOk));
    }
    return out;
}

// An (m, 3) array of integer indices into n points.
std::vector<_sTri_ID> Triangles(py::handle obj, const char* name, std::size_t n)
{
    py::array a = AsArray(obj, name, "iu", "integers");
    if (a.ndim() != 2 || a.shape(1) != 3)
        throw py::value_error(std::string(name) + " must have shape (m, 3), got " + ShapeText(a));
    IndexArray t = IndexArray::ensure(a);
    if (!t) throw py::type_error(std::string(name) + " must be an array of integers");
    const int64_t* d = t.data();
    std::vector<_sTri_ID> tris(static_cast<std::size_t>(t.shape(0)));
    for (std::size_t i = 0; i < tris.size(); ++i)
        for (int k = 0; k < 3; ++k) {
            const int64_t v = d[3 * i + static_cast<std::size_t>(k)];
            if (v < 0 || static_cast<uint64_t>(v) >= n)
                throw py::value_error(std::string(name) + ": row " + std::to_string(i) + " names point " +
                                      std::to_string(v) + ", but there are " + std::to_string(n) + " points");
            tris[i].nID[k] = static_cast<int32_t>(v);
        }
    return tris;
}

// ---- array output -------------------------------------------------------------

py::array_t<double> PointArray(const std::vector<CKrPoint3d>& pts)
{
    py::array_t<double> a({static_cast<py::ssize_t>(pts.size()), py::ssize_t(3)});
    double* d = a.mutable_data();
    for (const CKrPoint3d& p : pts) {
        *d++ = p.x;
        *d++ = p.y;
        *d++ = p.z;
    }
    return a;
}

py::array_t<int32_t> TriangleArray(const std::vector<_sTri_ID>& tris)
{
    py::array_t<int32_t> a({static_cast<py::ssize_t>(tris.size()), py::ssize_t(3)});
    int32_t* d = a.mutable_data();
    for (const _sTri_ID& t : tris)
        for (int k = 0; k < 3; ++k) *d++ = t.nID[k];
    return a;
}

py::array_t<double> Vec3(const CKrPoint3d& p)
{
    py::array_t<double> a(3);
    double* d = a.mutable_data();
    d[0] = p.x;
    d[1] = p.y;
    d[2] = p.z;
    return a;
}

// Each triangle rotated to start at its lowest index, the list sorted: the
// mesh hands its triangles out in the memory order of their records, and the
// arrays must not depend on that.
void SortTriangles(std::vector<_sTri_ID>& tris)
{
    for (_sTri_ID& t : tris) {
        const int k = t.nID[0] <= t.nID[1] && t.nID[0] <= t.nID[2] ? 0 : (t.nID[1] <= t.nID[2] ? 1 : 2);
        t = _sTri_ID(t.nID[k], t.nID[(k + 1) % 3], t.nID[(k + 2) % 3]);
    }
    std::sort(tris.begin(), tris.end(), [](const _sTri_ID& x, const _sTri_ID& y) {
        return std::lexicographical_compare(x.nID, x.nID + 3, y.nID, y.nID + 3);
    });
}

// ---- Tin --------------------------------------------------------------------------

class Tin {
public:
    explicit Tin(std::unique_ptr<CKrMeshData> mesh) : m_mesh(std::move(mesh)) {}

    // The arrays of the surface, worked out once (the mesh does not change).
    const std::vector<CKrPoint3d>& Pts()
    {
        Export();
        return m_pts;
    }
    const std::vector<_sTri_ID>& Tris()
    {
        Export();
        return m_tris;
    }

    std::size_t VertexCount() const { return m_mesh->m_setVer.size(); }
    std::size_t TriangleCount() const { return m_mesh->m_setTri.size(); }

    // Heights under the plan points; NaN off the surface. Runs without the
    // GIL; the query object (whose plan grid is built on demand) is shared by
    // the calls on this surface, one at a time.
    void Elevations(const double* xy, py::ssize_t n, py::ssize_t stride, double* out)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const TesTriMesh::CKrMeshQuery& q = Query();
        const double nan = std::numeric_limits<double>::quiet_NaN();
        for (py::ssize_t i = 0; i < n; ++i) {
            double z = 0.0;
            out[i] = q.GetMapPoint(xy[i * stride], xy[i * stride + 1], z) ? z : nan;
        }
    }

    // The surface under one plan polyline, in pieces along it (see drape()).
    std::vector<std::vector<CKrPoint3d>> Drape(const std::vector<CKrPoint3d>& line, bool closed)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const TesTriMesh::CKrMeshQuery& q = Query();
        std::vector<std::vector<CKrPoint3d>> pieces;
        const std::size_t n = line.size(), segs = closed ? n : n - 1;
        std::vector<std::pair<double, CKrSeg3d>> along;
        std::vector<CKrSeg3d> found;
        for (std::size_t i = 0; i < segs; ++i) {
            const CKrPoint3d& a = line[i];
            const CKrPoint3d& b = line[(i + 1) % n];
            const double dx = b.x - a.x, dy = b.y - a.y, len2 = dx * dx + dy * dy;
            if (!(len2 > 0.0)) continue;
            found.clear();
            q.GetMapPolyline(std::vector<CKrPoint3d>{a, b}, false, found);
            // The query returns the pieces in search order: put them in
            // order along the segment, each running forward.
            along.clear();
            for (CKrSeg3d s : found) {
                double t0 = ((s.m_pt[0].x - a.x) * dx + (s.m_pt[0].y - a.y) * dy) / len2;
                double t1 = ((s.m_pt[1].x - a.x) * dx + (s.m_pt[1].y - a.y) * dy) / len2;
                if (t1 < t0) {
                    std::swap(s.m_pt[0], s.m_pt[1]);
                    std::swap(t0, t1);
                }
                if (s.m_pt[0].Dist2d2(s.m_pt[1]) == 0.0) continue;
                along.emplace_back(t0, s);
            }
            std::stable_sort(along.begin(), along.end(),
                             [](const auto& x, const auto& y) { return x.first < y.first; });
            for (const auto& [t, s] : along) {
                (void)t;
                if (!pieces.empty() && pieces.back().back() == s.m_pt[0])
                    pieces.back().push_back(s.m_pt[1]);
                else
                    pieces.push_back({s.m_pt[0], s.m_pt[1]});
            }
        }
        // A closed line that stays on the surface ends where it began: the
        // last piece continues into the first.
        if (closed && pieces.size() > 1 && pieces.back().back() == pieces.front().front()) {
            pieces.back().insert(pieces.back().end(), pieces.front().begin() + 1, pieces.front().end());
            pieces.erase(pieces.begin());
        }
        return pieces;
    }

    std::vector<CKrPolyLine> Outline()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<CKrPolyLine> lines;
        m_mesh->GetBorderLine(lines, false);
        return lines;
    }

    const CKrMeshData& Mesh() const { return *m_mesh; }

private:
    const TesTriMesh::CKrMeshQuery& Query()
    {
        if (!m_query) m_query = std::make_unique<TesTriMesh::CKrMeshQuery>(*m_mesh);
        return *m_query;
    }
    void Export()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_exported) return;
        m_mesh->OutputData(m_pts, m_tris);
        SortTriangles(m_tris);
        m_exported = true;
    }

    std::unique_ptr<CKrMeshData> m_mesh;
    std::unique_ptr<TesTriMesh::CKrMeshQuery> m_query;
    std::mutex m_mutex;
    bool m_exported = false;
    std::vector<CKrPoint3d> m_pts;
    std::vector<_sTri_ID> m_tris;
};

// Holds the first exception a Python callback raised while the library ran,
// to be raised again once it returns (the library cannot be unwound through).
struct CallbackError {
    std::unique_ptr<py::error_already_set> error;
    void Rethrow()
    {
        if (error) {
            std::unique_ptr<py::error_already_set> e = std::move(error);
            throw *e;
        }
    }
};

std::unique_ptr<Tin> FromPoints(py::handle xyzObj, py::handle brkObj, py::handle outlineObj, py::handle holesObj,
                                double tol, bool fullHull, py::object progress)
{
    if (!(tol > 0.0) || !std::isfinite(tol)) throw py::value_error("tolerance must be a positive number");
    DoubleArray xyz = Coords(xyzObj, "xyz", 3);
    const std::vector<std::vector<CKrPoint3d>> brk = Lines(brkObj, "breaklines", 2, false);
    std::vector<CKrPoint3d> outline;
    if (!outlineObj.is_none()) outline = PointsOf(outlineObj, "outline", 3, false);
    const std::vector<std::vector<CKrPoint3d>> holes = Lines(holesObj, "holes", 3, false);
    if (!progress.is_none() && !PyCallable_Check(progress.ptr())) throw py::type_error("progress must be callable");

    // Non-finite points are refused by the triangulator one by one; name the
    // first instead of dropping them silently.
    const double* d = xyz.data();
    const py::ssize_t n = xyz.shape(0);
    for (py::ssize_t i = 0; i < 3 * n; ++i)
        if (!std::isfinite(d[i]))
            throw py::value_error("xyz: row " + std::to_string(i / 3) + " has a coordinate that is not finite");

    std::unique_ptr<CKrMeshData> mesh;
    CallbackError cbError;
    std::size_t distinct = 0;
    bool ok = false;
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> lock(LibraryMutex());
        mesh = std::make_unique<CKrMeshData>(tol);
        TesTriMesh::CKrDelaunay tin(*mesh, tol);
        tin.SetFullHull(fullHull);
        for (py::ssize_t i = 0; i < n; ++i) {
            const double* r = d + 3 * i;
            tin.AddVertex(CKrPoint3d(r[0], r[1], r[2]));
        }
        distinct = mesh->m_setVer.size();
        for (const std::vector<CKrPoint3d>& l : brk) {
            // A line that comes back to its first point is a closed loop.
            const bool closed = l.size() > 2 && l.front() == l.back();
            tin.AddSegYS(std::vector<CKrPoint3d>(l.begin(), closed ? l.end() - 1 : l.end()), closed, false);
        }
        if (!outline.empty()) tin.SetOutline(outline);
        for (const std::vector<CKrPoint3d>& h : holes) tin.AddHoleLine(h);
        if (!progress.is_none())
            tin.SetProgress([&progress, &cbError](std::size_t done, std::size_t total) {
                if (cbError.error) return;
                py::gil_scoped_acquire acquire;
                try {
                    progress(done, total);
                } catch (py::error_already_set& e) {
                    cbError.error = std::make_unique<py::error_already_set>(std::move(e));
                }
            });
        if (distinct >= 3) ok = tin.Delaunay();
        tin.SetProgress(nullptr);
    }
    cbError.Rethrow();
    if (distinct < 3)
        throw py::value_error("xyz: fewer than 3 distinct points in plan (" + std::to_string(distinct) +
                              ") within the tolerance " + std::to_string(tol));
    if (!ok) throw KrtesError("the points could not be triangulated (all on one line?)");
    return std::make_unique<Tin>(std::move(mesh));
}

// A surface of given vertices and triangles, vertices merged within tol.
std::unique_ptr<Tin> FromArrays(py::handle vObj, py::handle tObj, double tol)
{
    if (!(tol > 0.0) || !std::isfinite(tol)) throw py::value_error("tolerance must be a positive number");
    const std::vector<CKrPoint3d> pts = PointsOf(vObj, "vertices", 0, false);
    const std::vector<_sTri_ID> tris = Triangles(tObj, "triangles", pts.size());
    std::unique_ptr<CKrMeshData> mesh;
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> lock(LibraryMutex());
        mesh = std::make_unique<CKrMeshData>(tol);
        mesh->InputData(pts, tris, true);
    }
    if (mesh->TriNum() == 0) throw py::value_error("triangles: no triangle with three distinct vertices");
    return std::make_unique<Tin>(std::move(mesh));
}

std::unique_ptr<Tin> ReadSurface(const fs::path& fsPath)
{
    const std::string path = fsPath.string();
    std::error_code ec;
    if (!fs::exists(path, ec)) {
        errno = ENOENT;
        PyErr_SetFromErrnoWithFilename(PyExc_FileNotFoundError, path.c_str());
        throw py::error_already_set();
    }
    std::unique_ptr<CKrMeshData> mesh;
    std::string how, err;
    bool ok = false;
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> lock(LibraryMutex());
        mesh = std::make_unique<CKrMeshData>(0.01);
        ok = krtes::ReadSurfaceFile(path, *mesh, how, err);
    }
    if (!ok) throw KrtesError(err);
    return std::make_unique<Tin>(std::move(mesh));
}

void ToLandXml(Tin& tin, const fs::path& fsPath, const std::string& name)
{
    const std::string path = fsPath.string();
#ifdef KRTES_HAVE_PUGIXML
    krtes::SKrLandXmlFile file;
    const std::vector<CKrPoint3d>& pts = tin.Pts();
    const std::vector<_sTri_ID>& tris = tin.Tris();
    std::string err;
    bool ok = false;
    {
        py::gil_scoped_release release;
        file.surfaces.push_back(krtes::MakeLandXmlSurface(name, pts, tris));
        ok = krtes::WriteLandXmlFile(path, file, err);
    }
    if (!ok) throw KrtesError(err);
#else
    (void)tin;
    (void)path;
    (void)name;
    throw KrtesError("this build of krtes has no LandXML (KrTesIO was built without pugixml)");
#endif
}

py::list PolylineList(const std::vector<CKrPolyLine>& lines)
{
    py::list out;
    for (const CKrPolyLine& l : lines) out.append(PointArray(l.GetVerts()));
    return out;
}

py::list DrapeOne(Tin& tin, py::handle obj, const char* name, bool closed)
{
    const std::vector<CKrPoint3d> line = PointsOf(obj, name, 2, true);
    std::vector<std::vector<CKrPoint3d>> pieces;
    {
        py::gil_scoped_release release;
        pieces = tin.Drape(line, closed);
    }
    py::list out;
    for (const auto& p : pieces) out.append(PointArray(p));
    return out;
}

py::object Drape(Tin& tin, py::handle lines, bool closed)
{
    if (py::isinstance<py::array>(lines)) return DrapeOne(tin, lines, "line", closed);
    if (!py::isinstance<py::sequence>(lines) || py::isinstance<py::str>(lines))
        throw py::type_error("lines must be an (k, 2|3) array or a list of them");
    py::list out;
    std::size_t i = 0;
    for (py::handle l : lines) {
        const std::string nm = "lines[" + std::to_string(i++) + "]";
        out.append(DrapeOne(tin, l, nm.c_str(), closed));
    }
    return std::move(out);
}

py::object Elevation(Tin& tin, py::handle xyObj)
{
    py::array a = AsArray(xyObj, "xy", "biuf", "real numbers");
    if (a.ndim() == 1 && a.shape(0) == 2) {
        DoubleArray p = DoubleArray::ensure(a);
        double z = 0.0;
        tin.Elevations(p.data(), 1, 2, &z);
        return py::float_(z);
    }
    DoubleArray xy = Coords(a, "xy", 2, 3);
    const py::ssize_t n = xy.shape(0), stride = xy.shape(1);
    py::array_t<double> out(n);
    double* o = out.mutable_data();
    const double* d = xy.data();
    {
        py::gil_scoped_release release;
        tin.Elevations(d, n, stride, o);
    }
    return std::move(out);
}

#if KRTES_PY_EARTHWORKS
py::list Contours(Tin& tin, double interval, double base, int indexEvery)
{
    if (!(interval > 0.0) || !std::isfinite(interval)) throw py::value_error("interval must be a positive number");
    if (!std::isfinite(base)) throw py::value_error("base must be finite");
    if (indexEvery < 0) throw py::value_error("index_every must be 0 or more");
    const std::vector<CKrPoint3d>& pts = tin.Pts();
    const std::vector<_sTri_ID>& tris = tin.Tris();
    TesTriMesh::KrContourOptions opt;
    opt.interval = interval;
    opt.base = base;
    opt.indexEvery = indexEvery;
    TesTriMesh::KrContourResult res;
    bool ok = false;
    {
        py::gil_scoped_release release;
        ok = TesTriMesh::KrContours(pts, tris, opt, res);
    }
    if (!ok) throw KrtesError(res.error.empty() ? "the contours could not be formed" : res.error);
    py::list out;
    for (const TesTriMesh::KrContourLine& l : res.lines)
        out.append(py::make_tuple(l.level, PointArray(l.pts), l.closed, l.isIndex));
    return out;
}

py::dict VolumeTo(Tin& tin, py::handle other, py::handle boundary)
{
    TesTriMesh::KrEarthVolumeOptions opt;
    if (!boundary.is_none()) opt.boundary = PointsOf(boundary, "boundary", 3, true);
    TesTriMesh::KrEarthVolume v;
    bool ok = false;
    const std::vector<CKrPoint3d>& pts = tin.Pts();
    const std::vector<_sTri_ID>& tris = tin.Tris();
    if (py::isinstance<Tin>(other)) {
        Tin& o = other.cast<Tin&>();
        const std::vector<CKrPoint3d>& ptsB = o.Pts();
        const std::vector<_sTri_ID>& trisB = o.Tris();
        py::gil_scoped_release release;
        ok = TesTriMesh::KrVolumeBetween(pts, tris, ptsB, trisB, opt, v);
    } else if (py::isinstance<py::float_>(other) || py::isinstance<py::int_>(other) ||
               (py::isinstance<py::array>(other) && py::cast<py::array>(other).ndim() == 0)) {
        const double level = py::cast<double>(other);
        if (!std::isfinite(level)) throw py::value_error("the level must be finite");
        py::gil_scoped_release release;
        ok = TesTriMesh::KrVolumeToLevel(pts, tris, level, opt, v);
    } else {
        throw py::type_error("volume_to takes another Tin or a level (a number)");
    }
    if (!ok) throw KrtesError(v.error.empty() ? "the volume could not be computed" : v.error);
    py::dict d;
    d["cut"] = v.cut;
    d["fill"] = v.fill;
    d["net"] = v.net;
    d["cut_area"] = v.cutArea;
    d["fill_area"] = v.fillArea;
    return d;
}
#endif

// ---- solids ---------------------------------------------------------------------

struct Solid {
    std::vector<CKrPoint3d> pts;
    std::vector<_sTri_ID> tris;
};

Solid SolidOf(py::handle obj, const char* name)
{
    if (!py::isinstance<py::sequence>(obj) || py::isinstance<py::str>(obj) || py::isinstance<py::array>(obj) ||
        py::len(obj) != 2)
        throw py::type_error(std::string(name) + " must be a pair (vertices, triangles)");
    py::sequence s = py::reinterpret_borrow<py::sequence>(obj);
    Solid out;
    const std::string vn = std::string(name) + " vertices", tn = std::string(name) + " triangles";
    out.pts = PointsOf(s[0], vn.c_str(), 0, false);
    out.tris = Triangles(s[1], tn.c_str(), out.pts.size());
    return out;
}

std::string PtText(const CKrPoint3d& p)
{
    char buf[128];
    std::snprintf(buf, sizeof buf, "(%.6g, %.6g, %.6g)", p.x, p.y, p.z);
    return buf;
}

// Empty when the triangles bound a closed, consistently oriented surface;
// otherwise what is wrong, with the first faulty edge.
std::string SolidFault(const std::vector<CKrPoint3d>& pts, const std::vector<_sTri_ID>& tris)
{
    if (tris.empty()) return "has no triangles";
    const TesTriMesh::SKrSolidCheck c = TesTriMesh::CheckClosedSolid(pts, tris);
    auto at = [&](const int e[2]) {
        return " (first between " + PtText(pts[static_cast<std::size_t>(e[0])]) + " and " +
               PtText(pts[static_cast<std::size_t>(e[1])]) + ")";
    };
    if (c.openEdges)
        return "is not closed: " + std::to_string(c.openEdges) + " edges have a triangle on one side only" +
               at(c.firstOpen);
    if (c.overSharedEdges)
        return "is not a simple solid: " + std::to_string(c.overSharedEdges) +
               " edges are shared by more than two triangles" + at(c.firstOverShared);
    if (c.flippedEdges)
        return "is not consistently oriented: " + std::to_string(c.flippedEdges) +
               " edges are run the same way by both their triangles" + at(c.firstFlipped);
    return "";
}

// Runs the classification in a private temporary directory, which is where
// the construction's diagnostic files land, and removes it: nothing is left
// in the caller's working directory. The working directory is the process's,
// so the caller holds LibraryMutex.
std::unique_ptr<TesTriMesh::CKrSolidBoolean> ClassifyInScratch(CKrMeshData& a, CKrMeshData& b)
{
    std::error_code ec;
    const fs::path home = fs::current_path(ec);
    if (ec) throw KrtesError("cannot read the working directory: " + ec.message());
    std::string tmpl = (fs::temp_directory_path(ec) / "krtes_boolean_XXXXXX").string();
    if (ec || !mkdtemp(tmpl.data())) throw KrtesError("cannot create a temporary directory for the boolean");
    const fs::path work(tmpl);
    fs::current_path(work, ec);
    if (ec) {
        fs::remove_all(work, ec);
        throw KrtesError("cannot enter a temporary directory for the boolean");
    }
    std::unique_ptr<TesTriMesh::CKrSolidBoolean> solid;
    try {
        solid = std::make_unique<TesTriMesh::CKrSolidBoolean>(a, b);
    } catch (...) {
        fs::current_path(home, ec);
        fs::remove_all(work, ec);
        throw;
    }
    fs::current_path(home, ec);
    std::error_code ec2;
    fs::remove_all(work, ec2);
    if (ec) throw KrtesError("cannot return to the working directory " + home.string() + ": " + ec.message());
    return solid;
}

py::tuple Boolean(py::handle aObj, py::handle bObj, const std::string& op, double tol)
{
    if (op != "union" && op != "intersection" && op != "a-minus-b" && op != "b-minus-a")
        throw py::value_error("op must be 'union', 'intersection', 'a-minus-b' or 'b-minus-a', got '" + op + "'");
    if (!(tol > 0.0) || !std::isfinite(tol)) throw py::value_error("tolerance must be a positive number");
    Solid sa = SolidOf(aObj, "a"), sb = SolidOf(bObj, "b");
    for (auto [s, nm] : {std::pair<Solid*, const char*>{&sa, "a"}, {&sb, "b"}}) {
        const std::string f = SolidFault(s->pts, s->tris);
        if (!f.empty()) throw SolidError(std::string("solid ") + nm + " " + f + "; a boolean needs closed solids");
    }
    std::vector<CKrPoint3d> pts;
    std::vector<_sTri_ID> tris;
    std::string fault;
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> lock(LibraryMutex());
        CKrMeshData a(tol), b(tol);
        a.InputData(sa.pts, sa.tris, true);
        b.InputData(sb.pts, sb.tris, true);
        for (auto [m, nm] : {std::pair<CKrMeshData*, const char*>{&a, "a"}, {&b, "b"}}) {
            // Merging within the tolerance may collapse thin parts: check the
            // solid the boolean will actually see.
            const TesTriMesh::SKrSolidCheck c = TesTriMesh::CheckClosedSolid(*m);
            if (!c.IsSolid()) {
                fault = std::string("solid ") + nm + " is no longer a closed solid once its vertices are merged within " +
                        std::to_string(tol);
                break;
            }
            // An inward-facing solid is turned outward.
            if (TesTriMesh::SolidVolume(*m) < 0.0) m->Invert();
        }
        if (fault.empty()) {
            std::unique_ptr<TesTriMesh::CKrSolidBoolean> solid = ClassifyInScratch(a, b);
            if (!solid->IsAClassified())
                fault = "the triangles of a could not all be sorted against b (the cut or the sort failed)";
            else if (!solid->IsBClassified())
                fault = "the triangles of b could not all be sorted against a (the cut or the sort failed)";
            else {
                CKrMeshData result(tol);
                if (op == "union")
                    solid->Union_A_And_B(result);
                else if (op == "intersection")
                    solid->Intersect_A_And_B(result);
                else if (op == "a-minus-b")
                    solid->Diference_A_And_B(result);
                else
                    solid->Diference_B_And_A(result);
                result.OutputData(pts, tris);
                SortTriangles(tris);
                if (!tris.empty()) {
                    const std::string f = SolidFault(pts, tris);
                    if (!f.empty()) fault = "the " + op + " " + f;
                }
            }
        }
    }
    if (!fault.empty()) {
        if (fault.rfind("solid ", 0) == 0) throw SolidError(fault);
        throw BooleanError(fault);
    }
    return py::make_tuple(PointArray(pts), TriangleArray(tris));
}

py::dict Collide(py::handle aObj, py::handle bObj)
{
    Solid sa = SolidOf(aObj, "a"), sb = SolidOf(bObj, "b");
    TesTriMesh::CKrMeshDistance d;
    std::string err;
    {
        py::gil_scoped_release release;
        TesTriMesh::CKrMeshContact ca, cb;
        if (!ca.Build(sa.pts, sa.tris))
            err = "a: " + ca.Error();
        else if (!cb.Build(sb.pts, sb.tris))
            err = "b: " + cb.Error();
        else
            d = ca.Distance(cb);
    }
    if (!err.empty()) throw py::value_error(err);
    py::dict out;
    out["contact"] = d.contact;
    out["distance"] = d.distance;
    const bool found = d.triA >= 0 && d.triB >= 0;
    out["point_a"] = found ? py::object(Vec3(d.ptA)) : py::none();
    out["point_b"] = found ? py::object(Vec3(d.ptB)) : py::none();
    out["triangle_a"] = found ? py::object(py::int_(d.triA)) : py::none();
    out["triangle_b"] = found ? py::object(py::int_(d.triB)) : py::none();
    return out;
}

}  // namespace

PYBIND11_MODULE(_krtes, m)
{
    m.doc() = "KrTesGeometry on NumPy arrays: TINs, solid booleans and mesh contact (see the krtes package).";

    py::exception<KrtesError>& krtesError = py::register_exception<KrtesError>(m, "KrtesError", PyExc_RuntimeError);
    py::register_exception<SolidError>(m, "SolidError", PyExc_ValueError);
    py::register_exception<BooleanError>(m, "BooleanError", krtesError.ptr());

#ifdef KRTES_HAVE_PUGIXML
    m.attr("HAVE_LANDXML") = true;
#else
    m.attr("HAVE_LANDXML") = false;
#endif
    m.attr("HAVE_EARTHWORKS") = bool(KRTES_PY_EARTHWORKS);

    py::class_<Tin> tin(m, "Tin", R"doc(A triangulated surface (TIN).

Build one with Tin.from_points, Tin.from_arrays or read_surface. The surface
does not change once built; its queries may be called from several threads.)doc");
    tin.def_static("from_points", &FromPoints, py::arg("xyz"), py::arg("breaklines") = py::none(),
                   py::arg("outline") = py::none(), py::arg("holes") = py::none(), py::arg("tolerance") = 0.01,
                   py::arg("full_hull") = true, py::arg("progress") = py::none(),
                   R"doc(Constrained Delaunay TIN of survey points.

xyz: (n, 3) array of x, y, z (any real dtype; converted once to float64 C order).
breaklines: list of (k, 3) arrays, each becoming edges of the TIN; a line whose
    last point repeats its first is a closed loop.
outline: (k, 3) array, a closed polygon clipping the TIN.
holes: list of (k, 3) arrays, closed polygons cut out of the TIN.
tolerance: points whose x and y both agree within it are one vertex (the first
    one's coordinates are kept). The tolerance is process-wide in the library:
    builds run one at a time.
full_hull: cover the whole convex hull of the points.
progress: optional callable(done, total), called now and then while the points
    are inserted. An exception it raises is raised again once the
    triangulation has finished.

Raises TypeError for a non-numeric array, ValueError for a wrong shape, a
non-finite coordinate or fewer than 3 distinct points, KrtesError when the
points cannot be triangulated. The GIL is released while the TIN is built.)doc");
    tin.def_static("from_arrays", &FromArrays, py::arg("vertices"), py::arg("triangles"), py::arg("tolerance") = 0.01,
                   R"doc(A surface of given vertices ((n, 3) float) and triangles ((m, 3) integer indices).

Vertices closer than tolerance are merged; triangles collapsing under the
merge are dropped. ValueError for an index out of range.)doc");
    tin.def_property_readonly(
        "vertices", [](Tin& t) { return PointArray(t.Pts()); },
        "(n, 3) float64 array of the vertices, a fresh copy at every access. The order is the library's "
        "tolerant vertex order (x, then y, then z), not the input order.");
    tin.def_property_readonly(
        "triangles", [](Tin& t) { return TriangleArray(t.Tris()); },
        "(m, 3) int32 array of vertex indices, counter-clockwise in plan, a fresh copy at every access. "
        "Each row starts at its lowest index and the rows are sorted, so the arrays depend only on the input.");
    tin.def_property_readonly("vertex_count", &Tin::VertexCount);
    tin.def_property_readonly("triangle_count", &Tin::TriangleCount);
    tin.def("elevation", &Elevation, py::arg("xy"),
            R"doc(Surface heights under plan points.

xy: (m, 2) array (an (m, 3) array's z is ignored), or one point (x, y), which
gives a float. Points off the surface give NaN. The GIL is released while the
batch runs.)doc");
    tin.def(
        "outline", [](Tin& t) { return PolylineList(t.Outline()); },
        "The border loops as a list of (k, 3) arrays: the outer loops counter-clockwise, holes clockwise; "
        "a loop does not repeat its first point.");
    tin.def("drape", &Drape, py::arg("lines"), py::arg("closed") = false,
            R"doc(Lines draped over the surface.

lines: one (k, 2) or (k, 3) plan polyline (z ignored), or a list of them.
For one line, a list of (j, 3) arrays: the pieces of the line over the
surface, in order along it (a line that leaves the surface breaks into
pieces). For a list of lines, a list of such lists.)doc");
#if KRTES_PY_EARTHWORKS
    tin.def("contours", &Contours, py::arg("interval"), py::arg("base") = 0.0, py::arg("index_every") = 0,
            R"doc(Contour lines at every level base + k * interval within the surface.

Returns a list of (level, points, closed, is_index) tuples, points an (k, 3)
array (closed loops do not repeat their first point), ordered by level.
is_index flags every index_every-th level (0: none).)doc");
    tin.def("volume_to", &VolumeTo, py::arg("other"), py::arg("boundary") = py::none(),
            R"doc(Cut and fill of this surface against another Tin or a level (a number).

Where this surface lies above the other, the difference counts as cut; below
it, as fill. boundary: an optional (k, 2|3) plan polygon limiting the region.
Returns a dict with cut, fill, net (cut - fill), cut_area and fill_area.)doc");
#endif
    tin.def("to_landxml", &ToLandXml, py::arg("path"), py::arg("name") = "surface",
            "Writes the surface as a LandXML TIN (whole or nothing). KrtesError when the write fails or the "
            "build has no LandXML (HAVE_LANDXML).");
    tin.def("__repr__", [](const Tin& t) {
        return "<krtes.Tin " + std::to_string(t.VertexCount()) + " vertices, " + std::to_string(t.TriangleCount()) +
               " triangles>";
    });

    m.def("read_surface", &ReadSurface, py::arg("path"),
          R"doc(Reads a surface: a mesh file (.obj, .ply, .stl), a LandXML surface or an
elevation grid (where the build has them), or else a point file, which is
triangulated. FileNotFoundError for a missing file, KrtesError with the
file (and line, where it applies) for a bad one.)doc");
    m.def("boolean", &Boolean, py::arg("a"), py::arg("b"), py::arg("op"), py::arg("tolerance") = 0.01,
          R"doc(Union, intersection or difference of two closed solids.

a, b: pairs (vertices (n, 3) float, triangles (m, 3) integer). A solid facing
inward is turned outward. op: 'union', 'intersection', 'a-minus-b' or
'b-minus-a'. Returns (vertices, triangles), outward-facing, rows sorted (an
empty pair when the result is empty).

Raises SolidError (a ValueError) when an input is not a closed, consistently
oriented surface, BooleanError (a KrtesError) when the triangles could not be
sorted against the other solid or the result is not closed. The library
writes diagnostic files while it works: they go to a temporary directory
that is removed again, and the process's working directory points there
for the duration of the call (the GIL is released meanwhile).)doc");
    m.def("collide", &Collide, py::arg("a"), py::arg("b"),
          R"doc(Contact and true distance between two triangle meshes.

a, b: pairs (vertices, triangles); the meshes need not be closed. Returns a
dict: contact (the surfaces touch or cross, decided exactly), distance (0 on
contact, inf when a mesh has no triangle), point_a, point_b (the closest
points, or None), triangle_a, triangle_b (their triangles' rows, or None).
A solid inside another without touching is not a contact.)doc");
}
