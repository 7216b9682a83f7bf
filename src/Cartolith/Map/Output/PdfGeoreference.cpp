#include <Cartolith/Core/CoordinateSystems/CoordinateSystem.h>
#include <Cartolith/Core/CoordinateSystems/CoordinateSystemFactory.h>
#include <Cartolith/Map/MapView.h>
#include <Cartolith/Map/Output/DeviceInternal.h>
#include <Cartolith/Map/Output/OutputFile.h>
#include <Cartolith/Map/Output/PdfFileInternal.h>
#include <Cartolith/Map/Output/PdfGeoreference.h>

#include <QFile>
#include <QList>
#include <cpl_conv.h>
#include <cpl_error.h>
#include <ogr_spatialref.h>

#include <array>
#include <cmath>
#include <memory>
#include <stdexcept>

namespace Cartolith::Map::Output {

namespace {

using Core::CoordinateSystems::CoordinateSystem;
using Internal::PdfFile;

/// GDAL prints its errors otherwise.
class QuietGdal {
public:
    QuietGdal() { CPLPushErrorHandler(CPLQuietErrorHandler); }
    ~QuietGdal() { CPLPopErrorHandler(); }
    QuietGdal(const QuietGdal&) = delete;
    QuietGdal& operator=(const QuietGdal&) = delete;
};

OGRSpatialReference referenceOf(const CoordinateSystem& system) {
    OGRSpatialReference reference;
    // A code means itself, also where another has taken its place.
    const CPLConfigOptionSetter asGiven("OSR_USE_NON_DEPRECATED", "NO", false);
    const bool isText = system.epsgCode() <= 0;
    const bool isKnown =
        (!isText || Core::CoordinateSystems::CoordinateSystemFactory::fromUserInput(system.definition())) &&
        (system.epsgCode() > 0
             ? reference.importFromEPSG(system.epsgCode())
             : reference.SetFromUserInput(system.definition().toUtf8().constData(),
                                          OGRSpatialReference::SET_FROM_USER_INPUT_LIMITATIONS_get())) ==
            OGRERR_NONE;
    if (!isKnown) {
        throw std::runtime_error("GDAL/PROJ does not know the coordinate system of the map");
    }
    reference.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    return reference;
}

/// A reader may take another code's system for a deprecated one: then only the text says which it is.
bool isReplaced(int code) {
    const CPLConfigOptionSetter byDefault("OSR_USE_NON_DEPRECATED", "YES", false);
    OGRSpatialReference taken;
    taken.importFromEPSG(code);
    const char* const number = taken.GetAuthorityCode(nullptr);
    return number == nullptr || QByteArray(number).toInt() != code;
}

QByteArray wktOf(const OGRSpatialReference& reference) {
    for (const char* format : {"FORMAT=WKT1_ESRI", "FORMAT=WKT1_GDAL", "FORMAT=WKT2_2019"}) {
        char* text = nullptr;
        const std::array<const char*, 2> options{format, nullptr};
        const bool isGiven = reference.exportToWkt(&text, options.data()) == OGRERR_NONE;
        QByteArray wkt(text);
        CPLFree(text);
        if (isGiven && !wkt.isEmpty()) {
            return wkt;
        }
    }
    throw std::runtime_error("the coordinate system of the map has no form as text");
}

QByteArray text(const QByteArray& bytes) {
    QByteArray escaped = bytes;
    return '(' + escaped.replace('\\', "\\\\").replace('(', "\\(").replace(')', "\\)") + ')';
}

QByteArray array(const QList<double>& numbers) {
    QByteArray bytes;
    for (const double number : numbers) {
        bytes += (bytes.isEmpty() ? "" : " ") + QByteArray::number(number, 'f', 12);
    }
    return '[' + bytes + ']';
}

struct Places {
    QList<double> onPage;  ///< in shares of the map's frame, from its lower left
    QList<double> onEarth; ///< latitude and longitude, in turn
};

/// Four corners, of the map or of as much of its middle as is on earth.
Places placesOf(const MapView& view, const OGRSpatialReference& reference) {
    const std::unique_ptr<OGRSpatialReference> degrees(reference.CloneGeogCS());
    if (degrees == nullptr) {
        throw std::runtime_error("the coordinate system of the map has no place on earth");
    }
    degrees->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    const std::unique_ptr<OGRCoordinateTransformation> transformation(
        OGRCreateCoordinateTransformation(&reference, degrees.get()));
    const std::unique_ptr<OGRCoordinateTransformation> back(
        OGRCreateCoordinateTransformation(degrees.get(), &reference));
    if (transformation == nullptr || back == nullptr) {
        throw std::runtime_error("GDAL/PROJ could not create the transformation to degrees");
    }
    const double quarter = M_PI / 2.0 / degrees->GetAngularUnits(); // of a turn, in grads for some
    const QRectF frame = view.frame();
    for (double half = 0.5; half > 1e-3; half *= 0.5) {
        Places places;
        for (const QPointF corner : {QPointF(-1, 1), QPointF(-1, -1), QPointF(1, -1), QPointF(1, 1)}) {
            const QPointF share(0.5 + corner.x() * half, 0.5 + corner.y() * half);
            const QPointF place = view.toMap(QPointF(frame.left() + share.x() * frame.width(),
                                                     frame.bottom() - share.y() * frame.height()));
            double x = place.x();
            double y = place.y();
            const bool isOnEarth = transformation->Transform(1, &x, &y) != 0 && std::isfinite(x) &&
                                   std::isfinite(y) && std::abs(y) <= quarter;
            double returnedX = x;
            double returnedY = y;
            // Beyond its edge a projection may give the places of another part of the map.
            const bool isReturned =
                isOnEarth && back->Transform(1, &returnedX, &returnedY) != 0 &&
                std::hypot(returnedX - place.x(), returnedY - place.y()) < view.unitsPerPixel() * 0.01;
            if (!isReturned) {
                break;
            }
            places.onPage += {share.x(), share.y()};
            places.onEarth += {y, x};
        }
        if (places.onPage.size() == 8) {
            return places;
        }
    }
    throw std::runtime_error("the map has no place on earth");
}

/// The map's frame in the units of the page, which count upwards.
QList<double> boxOf(const MapView& view, const PdfFile::Page& page) {
    const QList<double> media = PdfFile::numbersOf(page.entries.value("MediaBox"));
    bool isUnit = true;
    const double unit = page.entries.contains("UserUnit")
                            ? page.entries.value("UserUnit").toByteArray().toDouble(&isUnit)
                            : 1.0;
    const QByteArrayView turn = page.entries.value("Rotate", "0");
    // Of which the upper left corner is that of the sheet as it is seen.
    const bool isCropped =
        page.entries.contains("CropBox") && PdfFile::numbersOf(page.entries.value("CropBox")) != media;
    if (media.size() != 4 || !isUnit || !(unit > 0) || turn != "0" || isCropped) {
        throw std::runtime_error("this PDF cannot be extended: the page has no plain size");
    }
    const double scale = 72.0 / view.dotsPerInch() / unit;
    const QRectF frame = view.frame();
    const double left = media[0] + frame.left() * scale;
    const double top = media[3] - frame.top() * scale;
    QList<double> box{left, top - frame.height() * scale, left + frame.width() * scale, top};
    constexpr double rounded = 1.0; // sheets are written in whole points
    if (box[0] < media[0] - rounded || box[1] < media[1] - rounded || box[2] > media[2] + rounded ||
        box[3] > media[3] + rounded) {
        throw std::invalid_argument("the map lies outside the page");
    }
    return box;
}

} // namespace

QByteArray PdfGeoreference::update(QByteArrayView pdf, const MapView& view, const CoordinateSystem& system,
                                   int page) {
    if (!view.isUsable()) {
        throw std::invalid_argument("the view cannot be used");
    }
    const PdfFile file(pdf);
    const PdfFile::Page target = file.page(page);
    if (target.entries.contains("VP")) {
        throw std::runtime_error("this PDF cannot be extended: the page has a viewport already");
    }
    const QuietGdal quiet;
    const OGRSpatialReference reference = referenceOf(system);
    const QByteArray box = array(boxOf(view, target));
    const Places places = placesOf(view, reference);
    const QByteArray code = system.epsgCode() > 0 && !isReplaced(system.epsgCode())
                                ? "/EPSG " + QByteArray::number(system.epsgCode()) + '\n'
                                : "";
    const auto number = [](qint64 value) { return QByteArray::number(value); };
    const qint64 first = file.objectCount();

    QByteArray added = "\n";
    std::array<qint64, 3> offsets{};
    const auto begin = [&](std::size_t which, qint64 object, qint64 generation) {
        offsets.at(which) = pdf.size() + added.size();
        added += number(object) + ' ' + number(generation) + " obj\n<<";
    };
    begin(0, target.id.number, target.id.generation);
    added += target.text.sliced(2, target.text.size() - 4).toByteArray();
    added +=
        "\n/VP [<< /Type /Viewport /BBox " + box + " /Measure " + number(first) + " 0 R >>]\n>>\nendobj\n";
    begin(1, first, 0);
    added += " /Type /Measure /Subtype /GEO\n/Bounds [0 1 0 0 1 0 1 1]\n/GPTS " + array(places.onEarth) +
             "\n/LPTS " + array(places.onPage) + "\n/GCS " + number(first + 1) + " 0 R\n>>\nendobj\n";
    begin(2, first + 1, 0);
    added += (reference.IsProjected() != 0 ? " /Type /PROJCS\n" : " /Type /GEOGCS\n") + code + "/WKT " +
             text(wktOf(reference)) + "\n>>\nendobj\n";

    const qint64 table = pdf.size() + added.size();
    const auto entry = [&](std::size_t which, qint64 generation) {
        return number(offsets.at(which)).rightJustified(10, '0') + ' ' +
               number(generation).rightJustified(5, '0') + " n \n";
    };
    added += "xref\n" + number(target.id.number) + " 1\n" + entry(0, target.id.generation) + number(first) +
             " 2\n" + entry(1, 0) + entry(2, 0) + "trailer\n<<\n/Size " + number(first + 2) + '\n';
    for (const char* key : {"Root", "Info", "ID"}) {
        if (file.trailer().contains(key)) {
            added += QByteArray("/") + key + ' ' + file.trailer().value(key).toByteArray() + '\n';
        }
    }
    return added + "/Prev " + number(file.tableOffset()) + "\n>>\nstartxref\n" + number(table) + "\n%%EOF\n";
}

void PdfGeoreference::addTo(const QString& path, const MapView& view, const CoordinateSystem& system,
                            int page) {
    QFile file(path);
    const auto fail = [&path](const QString& reason) {
        throw std::runtime_error(
            QStringLiteral("'%1' could not be read: %2").arg(path, reason).toStdString());
    };
    if (!file.open(QIODevice::ReadOnly)) {
        fail(file.errorString());
    }
    constexpr qint64 most = qint64{1} << 30;
    if (file.size() > most) {
        fail(QStringLiteral("it is larger than 1 GB"));
    }
    const QByteArray bytes = file.read(most);
    if (file.error() != QFileDevice::NoError) {
        fail(file.errorString());
    }
    const QByteArray added = update(bytes, view, system, page);
    OutputFile::write(path, [&](QIODevice& output) {
        Internal::writeAll(output, bytes);
        Internal::writeAll(output, added);
    });
}

} // namespace Cartolith::Map::Output
