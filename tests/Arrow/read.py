"""Arrow streams of the library, read by GDAL's consumer of record batches, hold what GDAL's features hold.

usage: read.py BRIDGE; 77 where Debian's python3-gdal is not installed
"""
import ctypes
import os
import random
import sys
import tempfile

try:
    import numpy
    from osgeo import gdal_array, ogr, osr
except ImportError as missing:
    print("skipped: %s (Debian: python3-gdal)" % missing)
    sys.exit(77)

ogr.UseExceptions()
TEXTS = ["", "a", "Ärger", "☃" * 100]
FIELDS = [("is", ogr.OFTInteger, ogr.OFSTBoolean, lambda: random.random() < 0.5),
          ("n", ogr.OFTInteger, ogr.OFSTNone, lambda: random.randint(-2**31, 2**31 - 1)),
          ("big", ogr.OFTInteger64, ogr.OFSTNone, lambda: random.randint(-2**62, 2**62)),
          ("x", ogr.OFTReal, ogr.OFSTNone, lambda: random.choice([0.1, -1e300])),
          ("t", ogr.OFTString, ogr.OFSTNone, lambda: random.choice(TEXTS)),
          ("day", ogr.OFTDate, ogr.OFSTNone, lambda: "19%d/02/28" % random.randint(50, 99)),
          ("when", ogr.OFTDateTime, ogr.OFSTNone, lambda: "2026/01/31 12:00:%02d.25+00" % random.randint(0, 59))]
SHAPES = ["POINT (1 2)", "LINESTRING (0 0,1 0.1)", "POLYGON ((0 0,9 0,0 9,0 0),(1 1,1 2,2 1,1 1))",
          "MULTIPOLYGON (((0 0,1 0,0 1,0 0)),((5 5,6 5,5 6,5 5)))", "MULTILINESTRING ((0 0,1 1),(2 2,3 3))"]


class Stream(ctypes.Structure):
    _fields_ = [("get_schema", ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)),
                ("get_next", ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p)),
                ("get_last_error", ctypes.CFUNCTYPE(ctypes.c_char_p, ctypes.c_void_p)),
                ("release", ctypes.CFUNCTYPE(None, ctypes.c_void_p)),
                ("private_data", ctypes.c_void_p)]


class Struct(ctypes.Structure):
    """A schema or an array, of which the one has seven words before its release(), the other eight."""
    _fields_ = [("words", ctypes.c_int64 * 10)]

    def release(self, word):
        if self.words[word]:
            ctypes.CFUNCTYPE(None, ctypes.c_void_p)(self.words[word])(ctypes.addressof(self))


def make(path):
    source = ogr.GetDriverByName("GPKG").CreateDataSource(path)
    system = osr.SpatialReference()
    system.ImportFromEPSG(32632)
    layer = source.CreateLayer("t", system, ogr.wkbUnknown)
    for name, kind, subtype, _ in FIELDS:
        field = ogr.FieldDefn(name, kind)
        field.SetSubType(subtype)
        layer.CreateField(field)
    for _ in range(50):
        row = ogr.Feature(layer.GetLayerDefn())
        for name, _, _, value in FIELDS:
            if random.random() < 0.8:
                row.SetField(name, value())
        row.SetGeometry(ogr.CreateGeometryFromWkt(random.choice(SHAPES)))
        layer.CreateFeature(row)


def value_of(feature, name):
    if name == "id":
        return feature.GetFID()
    if name == "geometry":
        return feature.GetGeometryRef().ExportToIsoWkb(ogr.wkbNDR)
    if feature.IsFieldNull(name) or not feature.IsFieldSet(name):
        return None
    value = feature[name]
    if name == "day":
        return numpy.datetime64(value.replace("/", "-"))
    if name == "when":
        return numpy.datetime64(value.replace("/", "-").replace(" ", "T").split("+")[0])
    return value


def listed(column):
    if isinstance(column, dict):  # with nulls
        return [None if mask else value for mask, value in zip(column["mask"], listed(column["data"]))]
    return [value.decode() for value in column] if column.dtype.kind == "S" else list(column)


def rows_of(bridge, path, where, in_memory):
    stream, schema, rows = Stream(), Struct(), []
    assert bridge.openStream(path.encode(), where.encode(), in_memory, ctypes.byref(stream)) == 0
    assert stream.get_schema(ctypes.addressof(stream), ctypes.addressof(schema)) == 0
    while True:
        batch = Struct()
        assert stream.get_next(ctypes.addressof(stream), ctypes.addressof(batch)) == 0
        if not batch.words[8]:
            break
        columns = gdal_array._RecordBatchAsNumpy(ctypes.addressof(batch), ctypes.addressof(schema), batch)
        rows += [dict(zip(columns, row)) for row in zip(*map(listed, columns.values()))]
        batch.release(8)  # the values are copies
    schema.release(7)
    stream.release(ctypes.addressof(stream))
    return rows


bridge = ctypes.CDLL(sys.argv[1])
random.seed(1)
with tempfile.TemporaryDirectory() as folder:
    path = os.path.join(folder, "t.gpkg")
    make(path)
    names = ["id"] + [field[0] for field in FIELDS] + ["geometry"]
    for where in ["", "n > 0 OR t = 'Ärger'"]:
        source = ogr.Open(path)
        layer = source.GetLayer(0)
        layer.SetAttributeFilter(where)
        expected = [{name: value_of(feature, name) for name in names} for feature in layer]
        assert len(expected) > 10
        for in_memory in (0, 1):
            found = rows_of(bridge, path, where, in_memory)
            assert found == expected, "\n".join(map(str, zip(found, expected)))
