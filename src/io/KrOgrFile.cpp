#include "KrTesGeometry/io/KrOgrFile.h"

#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <cmath>
#include <filesystem>
#include <memory>

#include "KrTesGeometry/io/KrMeshFile.h"
#include "io/KrGdalCommon.h"

namespace krtes {

namespace {

const char* DriverFor(const std::string& ext)
{
    if (ext == ".gpkg") return "GPKG";
    if (ext == ".shp") return "ESRI Shapefile";
    if (ext == ".dxf") return "DXF";
    if (ext == ".geojson" || ext == ".json") return "GeoJSON";
    if (ext == ".gml") return "GML";
    if (ext == ".kml") return "KML";
    return nullptr;
}

struct DatasetClose {
    void operator()(GDALDataset* ds) const { GDALClose(ds); }
};
using Dataset = std::unique_ptr<GDALDataset, DatasetClose>;

Dataset OpenVector(const std::string& path, const SKrVectorOptions& o, std::string& err)
{
    const char* only[] = {o.format.c_str(), nullptr};
    Dataset ds(static_cast<GDALDataset*>(GDALOpenEx(path.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY,
                                                    o.format.empty() ? nullptr : only, nullptr, nullptr)));
    if (!ds) err = path + ": cannot open as a vector layer" + io::CGdalQuiet::Why();
    return ds;
}

// Walks the features of the chosen layers: take(feature, where, z) with z
// the feature's elevation attribute (NaN without zField). False, with err,
// on a missing layer or attribute, or when take fails.
template <class Take>
bool ForEachFeature(GDALDataset& ds, const std::string& path, const SKrVectorOptions& o, Take take, std::string& err)
{
    std::vector<OGRLayer*> layers;
    if (!o.layer.empty()) {
        OGRLayer* l = ds.GetLayerByName(o.layer.c_str());
        if (!l) {
            err = path + ": no layer named '" + o.layer + "'";
            return false;
        }
        layers.push_back(l);
    } else {
        for (int i = 0; i < ds.GetLayerCount(); ++i) layers.push_back(ds.GetLayer(i));
    }
    for (OGRLayer* l : layers) {
        const std::string lname = l->GetName();
        int zi = -1;
        if (!o.zField.empty()) {
            zi = l->GetLayerDefn()->GetFieldIndex(o.zField.c_str());
            if (zi < 0) {
                err = path + ": layer '" + lname + "' has no attribute '" + o.zField + "'";
                return false;
            }
        }
        l->ResetReading();
        for (auto& f : *l) {
            const std::string where = path + ": layer '" + lname + "', feature " + std::to_string(f->GetFID()) + ": ";
            double z = NAN;
            if (zi >= 0) {
                if (!f->IsFieldSetAndNotNull(zi)) {
                    err = where + "no value in '" + o.zField + "'";
                    return false;
                }
                z = f->GetFieldAsDouble(zi);
            }
            const OGRGeometry* g = f->GetGeometryRef();
            if (g && !take(*g, where, z)) return false;
        }
    }
    return true;
}

// The vertex lists of a geometry: single points (wantPoints) or lines and
// polygon rings (otherwise); curves are approximated by line strings.
void Collect(const OGRGeometry& g, bool wantPoints, std::vector<std::vector<CKrPoint3d>>& out)
{
    const OGRwkbGeometryType t = wkbFlatten(g.getGeometryType());
    const auto line = [&out](const OGRSimpleCurve& c) {
        std::vector<CKrPoint3d> pts;
        pts.reserve(static_cast<std::size_t>(c.getNumPoints()));
        for (int i = 0; i < c.getNumPoints(); ++i) pts.emplace_back(c.getX(i), c.getY(i), c.getZ(i));
        out.push_back(std::move(pts));
    };
    switch (t) {
    case wkbPoint:
        if (wantPoints) {
            const OGRPoint* p = g.toPoint();
            if (!p->IsEmpty()) out.push_back({CKrPoint3d(p->getX(), p->getY(), p->getZ())});
        }
        return;
    case wkbLineString:
    case wkbLinearRing:
        if (!wantPoints) line(*g.toSimpleCurve());
        return;
    case wkbPolygon:
        if (!wantPoints)
            for (const OGRLinearRing* r : *g.toPolygon()) line(*r);
        return;
    case wkbMultiPoint:
    case wkbMultiLineString:
    case wkbMultiPolygon:
    case wkbGeometryCollection:
        for (const OGRGeometry* p : *g.toGeometryCollection()) Collect(*p, wantPoints, out);
        return;
    default:
        if (!wantPoints && g.hasCurveGeometry()) {
            std::unique_ptr<OGRGeometry> lin(g.getLinearGeometry());
            if (lin) Collect(*lin, wantPoints, out);
        }
        return;
    }
}

bool ReadParts(const std::string& path, bool points, std::vector<std::vector<CKrPoint3d>>& parts, std::string& err,
               const SKrVectorOptions& o)
{
    io::CGdalQuiet quiet;
    Dataset ds = OpenVector(path, o, err);
    if (!ds) return false;
    std::vector<std::vector<CKrPoint3d>> got;
    const auto take = [&](const OGRGeometry& g, const std::string& where, double z) {
        const std::size_t before = got.size();
        Collect(g, points, got);
        if (got.size() == before) return true;
        if (std::isnan(z) && o.needZ && !g.Is3D()) {
            err = where + "its geometry has no elevations (2D); name the attribute that holds them";
            return false;
        }
        for (std::size_t i = before; i < got.size(); ++i)
            for (CKrPoint3d& p : got[i]) {
                if (!std::isnan(z)) p.z = z;
                if (!o.needZ) p.z = std::isfinite(p.z) ? p.z : 0.0;
                if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
                    err = where + "coordinate is not finite (NaN or infinite)";
                    return false;
                }
            }
        return true;
    };
    if (!ForEachFeature(*ds, path, o, take, err)) return false;
    parts.swap(got);
    return true;
}

}  // namespace

bool IsVectorFileName(const std::string& path) { return DriverFor(Extension(path)) != nullptr; }

bool ReadVectorPoints(const std::string& path, std::vector<CKrPoint3d>& pts, std::string& err, const SKrVectorOptions& o)
{
    std::vector<std::vector<CKrPoint3d>> parts;
    if (!ReadParts(path, true, parts, err, o)) return false;
    std::vector<CKrPoint3d> out;
    out.reserve(parts.size());
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    if (out.empty()) {
        err = path + ": no point features" + (o.layer.empty() ? std::string() : " in layer '" + o.layer + "'");
        return false;
    }
    pts.swap(out);
    return true;
}

bool ReadVectorLines(const std::string& path, std::vector<std::vector<CKrPoint3d>>& lines, std::size_t minPoints,
                     std::string& err, const SKrVectorOptions& o)
{
    std::vector<std::vector<CKrPoint3d>> parts;
    if (!ReadParts(path, false, parts, err, o)) return false;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (parts[i].size() < minPoints) {
            err = path + ": line " + std::to_string(i + 1) + " has " + std::to_string(parts[i].size()) +
                  " point(s), needs at least " + std::to_string(minPoints);
            return false;
        }
    }
    lines.swap(parts);
    return true;
}

bool WriteVectorLines(const std::string& path, const std::vector<std::vector<CKrPoint3d>>& lines, std::string& err,
                      const SKrVectorOptions& o)
{
    io::CGdalQuiet quiet;
    const char* name = o.format.empty() ? DriverFor(Extension(path)) : o.format.c_str();
    if (!name) {
        err = path + ": unknown vector format '" + Extension(path) + "' (use .gpkg, .shp, .dxf or .geojson)";
        return false;
    }
    GDALDriver* drv = GetGDALDriverManager()->GetDriverByName(name);
    if (!drv || !drv->GetMetadataItem(GDAL_DCAP_CREATE)) {
        err = path + ": GDAL cannot write '" + name + "' files";
        return false;
    }
    std::unique_ptr<OGRSpatialReference> srs;
    if (!o.crs.empty()) {
        srs = std::make_unique<OGRSpatialReference>();
        srs->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        if (srs->SetFromUserInput(o.crs.c_str()) != OGRERR_NONE) {
            err = path + ": '" + o.crs + "' is not a coordinate system GDAL knows" + io::CGdalQuiet::Why();
            return false;
        }
    }
    const std::string layerName = std::filesystem::path(path).stem().string();
    // A GeoPackage records when it was written; a fixed date keeps the same
    // lines giving the same bytes.
    CPLSetThreadLocalConfigOption("OGR_CURRENT_DATE", "2000-01-01T00:00:00.000Z");
    const bool ok = io::WriteThroughScratch(
        path,
        [&](const std::string& target, std::string& e) {
            Dataset ds(drv->Create(target.c_str(), 0, 0, 0, GDT_Unknown, nullptr));
            if (!ds) {
                e = path + ": cannot create file" + io::CGdalQuiet::Why();
                return false;
            }
            OGRLayer* layer = ds->CreateLayer(layerName.c_str(), srs.get(), wkbLineString25D, nullptr);
            if (!layer) {
                e = path + ": cannot create a layer" + io::CGdalQuiet::Why();
                return false;
            }
            bool withId = false, withValue = false;
            if (std::string(name) != "DXF" && layer->TestCapability(OLCCreateField)) {
                OGRFieldDefn fd("line", OFTInteger);
                withId = layer->CreateField(&fd) == OGRERR_NONE;
                if (withId && !o.valueName.empty() && o.values.size() == lines.size()) {
                    OGRFieldDefn vd(o.valueName.c_str(), OFTReal);
                    withValue = layer->CreateField(&vd) == OGRERR_NONE;
                }
            }
            const bool tx = layer->TestCapability(OLCTransactions) && layer->StartTransaction() == OGRERR_NONE;
            for (std::size_t i = 0; i < lines.size(); ++i) {
                OGRFeatureUniquePtr f(OGRFeature::CreateFeature(layer->GetLayerDefn()));
                if (withId) f->SetField(0, static_cast<int>(i + 1));
                if (withValue) f->SetField(1, o.values[i]);
                OGRLineString ls;
                ls.setNumPoints(static_cast<int>(lines[i].size()));
                for (std::size_t k = 0; k < lines[i].size(); ++k) {
                    const CKrPoint3d& p = lines[i][k];
                    ls.setPoint(static_cast<int>(k), p.x, p.y, p.z);
                }
                f->SetGeometry(&ls);
                if (layer->CreateFeature(f.get()) != OGRERR_NONE) {
                    e = path + ": cannot write line " + std::to_string(i + 1) + io::CGdalQuiet::Why();
                    return false;
                }
            }
            if (tx && layer->CommitTransaction() != OGRERR_NONE) {
                e = path + ": write failed" + io::CGdalQuiet::Why();
                return false;
            }
            // GDAL reports a failed final write only through its error state.
            CPLErrorReset();
            GDALClose(ds.release());
            if (CPLGetLastErrorType() == CE_Failure || CPLGetLastErrorType() == CE_Fatal) {
                e = path + ": write failed" + io::CGdalQuiet::Why();
                return false;
            }
            return true;
        },
        err);
    CPLSetThreadLocalConfigOption("OGR_CURRENT_DATE", nullptr);
    return ok;
}

}  // namespace krtes
