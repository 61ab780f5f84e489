#!/usr/bin/env bash
# Writes the raster and vector files the io tests read as "written by another
# program", with GDAL's own command-line tools (gdal-bin): nothing here goes
# through the library. Values are known in closed form so the tests can check
# them:
#   dem_gdal.tif      6 x 4 cells of 10 m, west edge 500000, north edge
#                     6000040 (EPSG:32633); the cell in column c, row r holds
#                     100 + c + 10 r, except column 5 of row 0, which is NoData (-9999)
#   rgb_gdal.tif      a 4 x 4 three-band colour image, not elevations
#   lines_gdal.gpkg   layer "breaklines": two 3D lines (the second closed),
#                     attribute "code"
#   lines_gdal.dxf    the same two lines as DXF polylines
#   contours_gdal.geojson  two 2D lines with their elevation in "ELEV"
#   points_gdal.gpkg  layer "spots": three 3D points
# Run it in this directory to rebuild the files.
set -euo pipefail
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
export OGR_CURRENT_DATE=2000-01-01T00:00:00.000Z

{
  echo "ncols 6"; echo "nrows 4"; echo "xllcorner 500000"; echo "yllcorner 6000000"
  echo "cellsize 10"; echo "NODATA_value -9999"
  for r in 0 1 2 3; do
    line=""
    for c in 0 1 2 3 4 5; do
      if [ $r -eq 0 ] && [ $c -eq 5 ]; then v=-9999; else v=$((100 + c + 10 * r)); fi
      line="$line $v"
    done
    echo "$line"
  done
} > "$tmp/dem.asc"
gdal_translate -q -of GTiff -ot Float32 -a_srs EPSG:32633 "$tmp/dem.asc" dem_gdal.tif

gdal_create -q -of GTiff -outsize 4 4 -bands 3 -ot Byte -burn 200 -co PHOTOMETRIC=RGB \
  -a_srs EPSG:32633 -a_ullr 0 4 4 0 rgb_gdal.tif

cat > "$tmp/lines.csv" <<'CSV'
wkt,code
"LINESTRING Z (500000.125 6000000.25 101.5,500010.5 6000003.75 102.25,500020 6000001 99.125)",ridge
"LINESTRING Z (500030 6000030 110,500040 6000030 111,500040 6000040 112,500030 6000030 110)",pond
CSV
rm -f lines_gdal.gpkg lines_gdal.dxf
ogr2ogr -q -f GPKG lines_gdal.gpkg "$tmp/lines.csv" -oo GEOM_POSSIBLE_NAMES=wkt -oo KEEP_GEOM_COLUMNS=NO \
  -a_srs EPSG:32633 -nln breaklines -nlt LINESTRING25D
ogr2ogr -q -f DXF lines_gdal.dxf "$tmp/lines.csv" -oo GEOM_POSSIBLE_NAMES=wkt -oo KEEP_GEOM_COLUMNS=NO \
  -nlt LINESTRING25D

cat > "$tmp/contours.csv" <<'CSV'
wkt,ELEV
"LINESTRING (0 0,10 0,10 10)",50
"MULTILINESTRING ((20 0,30 0),(40 0,50 5))",55.5
CSV
rm -f contours_gdal.geojson
ogr2ogr -q -f GeoJSON contours_gdal.geojson "$tmp/contours.csv" -oo GEOM_POSSIBLE_NAMES=wkt \
  -oo KEEP_GEOM_COLUMNS=NO -oo AUTODETECT_TYPE=YES

cat > "$tmp/points.csv" <<'CSV'
wkt,name
"POINT Z (1.5 2.5 3.25)",a
"POINT Z (4 5 6)",b
"POINT Z (7.125 8 -9)",c
CSV
rm -f points_gdal.gpkg
ogr2ogr -q -f GPKG points_gdal.gpkg "$tmp/points.csv" -oo GEOM_POSSIBLE_NAMES=wkt -oo KEEP_GEOM_COLUMNS=NO \
  -nln spots -nlt POINT25D
