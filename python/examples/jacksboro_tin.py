"""A TIN of the bundled sample terrain, built from a NumPy array.

    PYTHONPATH=build/default/python python3 python/examples/jacksboro_tin.py [POINTS] [DEM.tif]

Prints the counts, the extent, the elevation at the centre of the data and
the cut and fill against the level halfway up. With GDAL's Python bindings (osgeo) it also writes a 100 m DEM of the surface
as a GeoTIFF (cells off the surface are nodata).
"""

import pathlib
import sys

import numpy as np

import krtes

here = pathlib.Path(__file__).resolve().parent
points = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else here.parent.parent / "data" / "jacksboro_scattered.xyz"
dem_path = sys.argv[2] if len(sys.argv) > 2 else "jacksboro_dem.tif"

xyz = np.loadtxt(points)  # (n, 3) float64
tin = krtes.Tin.from_points(xyz)
print(f"points      {len(xyz)}")
print(f"vertices    {tin.vertex_count}")
print(f"triangles   {tin.triangle_count}")
lo, hi = xyz.min(axis=0), xyz.max(axis=0)
print(f"extent      x {lo[0]:.3f} .. {hi[0]:.3f}, y {lo[1]:.3f} .. {hi[1]:.3f}, z {lo[2]:.3f} .. {hi[2]:.3f}")
centre = (lo[:2] + hi[:2]) / 2
print(f"elevation   {tin.elevation(centre):.3f} at ({centre[0]:.3f}, {centre[1]:.3f})")
if krtes.HAVE_EARTHWORKS:
    level = (lo[2] + hi[2]) / 2
    v = tin.volume_to(level)
    print(f"level {level:.1f}  cut {v['cut']:.0f} m3 over {v['cut_area']:.0f} m2, fill {v['fill']:.0f} m3 over {v['fill_area']:.0f} m2")

try:
    from osgeo import gdal
except ImportError:
    gdal = None
if gdal is not None:
    cell = 100.0
    cols = int(np.ceil((hi[0] - lo[0]) / cell))
    rows = int(np.ceil((hi[1] - lo[1]) / cell))
    # Cell centres, top row first, as GeoTIFF stores them.
    xs = lo[0] + (np.arange(cols) + 0.5) * cell
    ys = hi[1] - (np.arange(rows) + 0.5) * cell
    gx, gy = np.meshgrid(xs, ys)
    z = tin.elevation(np.column_stack([gx.ravel(), gy.ravel()])).reshape(rows, cols)
    nodata = -9999.0
    gdal.UseExceptions()
    ds = gdal.GetDriverByName("GTiff").Create(dem_path, cols, rows, 1, gdal.GDT_Float32)
    ds.SetGeoTransform((lo[0], cell, 0.0, hi[1], 0.0, -cell))
    band = ds.GetRasterBand(1)
    band.SetNoDataValue(nodata)
    band.WriteArray(np.where(np.isnan(z), nodata, z).astype(np.float32))
    ds = None
    print(f"dem         {dem_path}: {cols} x {rows} cells of {cell} m, {np.count_nonzero(~np.isnan(z))} on the surface")
