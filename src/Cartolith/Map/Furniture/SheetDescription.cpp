#include <Cartolith/Core/Symbology/GisSymbologyJson.h>
#include <Cartolith/Map/Furniture/SheetDescription.h>
#include <Cartolith/Map/Output/PageSetup.h>
#include <Cartolith/Map/Scene/JsonMembersInternal.h>

#include <QFile>

#include <algorithm>
#include <cmath>
#include <span>

using Cartolith::Core::Shapes::GisExtent;
using Cartolith::Core::Symbology::GisSymbologyJson;

namespace Cartolith::Map::Furniture {

namespace {

using Map::Internal::fail;
using Map::Internal::text;
using Members = Map::Internal::JsonMembers;

constexpr qint64 largestSheetFile = qint64{1} << 20;
constexpr qsizetype mostItems = 200;
constexpr qsizetype mostInsets = 16; // each is a map to draw
constexpr qsizetype mostNames = 1000;
constexpr qsizetype longestText = 10'000;
constexpr double widestPage = 5000.0; // millimetres
constexpr double mostPixels = 16'384.0;
constexpr double millimetersPerInch = 25.4;

template <typename Value>
struct Named {
    const char* name;
    Value value;
};

template <typename Value, std::size_t Count>
Value oneOf(Members& members, const char* member, const Named<Value> (&known)[Count], Value missing) {
    if (!members.has(member)) {
        return missing;
    }
    const QString where = members.where(member);
    const QString name = members.string(member);
    for (const Named<Value>& one : known) {
        if (name == QLatin1String(one.name)) {
            return one.value;
        }
    }
    fail(where, QStringLiteral("\"%1\" is not known.").arg(name.left(40)));
}

double bounded(double number, double least, double most, const QString& where) {
    if (!(number >= least && number <= most)) {
        fail(where, QStringLiteral("a number from %1 to %2 is expected.")
                        .arg(QString::number(least, 'g', 10), QString::number(most, 'g', 10)));
    }
    return number;
}

double numberOf(Members& members, const char* name, double missing, double least, double most) {
    return bounded(members.number(name, missing), least, most, members.where(name));
}

/// So many numbers, or as they were.
void numbersOf(Members& members, const char* name, std::span<double> numbers, double least, double most) {
    if (!members.has(name)) {
        return;
    }
    const QString where = members.where(name);
    const QJsonArray array = members.array(name);
    if (array.size() != static_cast<qsizetype>(numbers.size())) {
        fail(where, QStringLiteral("%1 numbers are expected.").arg(numbers.size()));
    }
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const QJsonValue value = array.at(static_cast<qsizetype>(i));
        numbers[i] = bounded(value.toDouble(std::nan("")), least, most, where);
    }
}

GisExtent extentOf(Members& members) {
    if (!members.has("extent")) {
        return {};
    }
    double sides[4] = {};
    constexpr double largest = 1e12; // units of a map
    numbersOf(members, "extent", sides, -largest, largest);
    if (!(sides[0] <= sides[2] && sides[1] <= sides[3])) {
        fail(members.where("extent"), text("the least x and y come first."));
    }
    return {sides[0], sides[1], sides[2], sides[3]};
}

void readPage(Members& members, SheetDescription& sheet) {
    sheet.dotsPerInch = numberOf(members, "dpi", sheet.dotsPerInch, 10.0, 2400.0);
    const QString wherePage = members.where("page");
    if (members.has("page") && members.has("pixels")) {
        fail(wherePage, text("\"pixels\" takes its place."));
    }
    if (members.has("pixels")) {
        double pixels[2] = {};
        numbersOf(members, "pixels", pixels, 64.0, mostPixels);
        sheet.size =
            QSizeF(std::round(pixels[0]), std::round(pixels[1])) * (millimetersPerInch / sheet.dotsPerInch);
    } else if (members.isArray("page")) {
        double page[2] = {};
        numbersOf(members, "page", page, 10.0, widestPage);
        sheet.size = {page[0], page[1]};
    } else if (members.has("page")) {
        const QString name = members.string("page");
        const QString landscape = text(" landscape");
        const bool isLandscape = name.endsWith(landscape);
        const auto page =
            Output::PageSetup::named(isLandscape ? name.chopped(landscape.size()) : name, isLandscape);
        if (!page) {
            fail(wherePage, QStringLiteral("there is no page \"%1\".").arg(name.left(40)));
        }
        sheet.size = page->size;
    }
    const QSize pixels = sheet.pixels();
    if (pixels.width() > mostPixels || pixels.height() > mostPixels) {
        fail(text("sheet"), text("there are more than 16384 pixels to a side."));
    }
}

void readColours(Members& members, SheetColours& colours) {
    if (members.has("colors")) {
        Members from(members.object("colors"), members.where("colors"));
        colours.paper = from.colour("paper", colours.paper);
        colours.sea = from.colour("sea", colours.sea);
        colours.seaLine = from.colour("seaLine", colours.seaLine);
        colours.ink = from.colour("ink", colours.ink);
        colours.faintInk = from.colour("faintInk", colours.faintInk);
        from.refuseOthers();
    }
}

void readMap(Members& members, SheetDescription& sheet) {
    SheetDescription::MapFrame& map = sheet.map;
    constexpr double margin = 10.0;
    map.place = QRectF({margin, margin}, sheet.size - QSizeF(2 * margin, 2 * margin));
    if (members.has("map")) {
        Members from(members.object("map"), members.where("map"));
        double place[4] = {map.place.x(), map.place.y(), map.place.width(), map.place.height()};
        numbersOf(from, "place", place, 0.0, widestPage);
        map.place = {place[0], place[1], place[2], place[3]};
        map.extent = extentOf(from);
        map.air = numberOf(from, "air", map.air, 0.0, 10.0);
        map.scaleDenominator = numberOf(from, "scale", 0.0, 0.0, 1e10);
        map.rotation = numberOf(from, "rotation", 0.0, -360.0, 360.0);
        map.graticule = oneOf(from, "graticule",
                              {Named<GraticuleLines>{"none", GraticuleLines::None},
                               {"below", GraticuleLines::Below},
                               {"above", GraticuleLines::Above}},
                              map.graticule);
        map.step = numberOf(from, "step", 0.0, 0.0, 90.0);
        map.hasDegrees = from.boolean("degrees", map.hasDegrees);
        map.degreeLetters = numberOf(from, "letters", map.degreeLetters, 1.0, 100.0);
        map.hasFrame = from.boolean("frame", map.hasFrame);
        from.refuseOthers();
    }
    const QRectF page({0.0, 0.0}, sheet.size);
    constexpr double least = 5.0; // millimetres
    if (!page.contains(map.place) || map.place.width() < least || map.place.height() < least) {
        fail(text("sheet.map.place"), text("there is no room for the map on the page."));
    }
}

QStringList layersOf(Members& members) {
    const QString where = members.where("layers");
    const QJsonArray layers = members.array("layers");
    if (layers.size() > mostNames) {
        fail(where, text("there are more than 1,000 names."));
    }
    QStringList names;
    for (const QJsonValue layer : layers) {
        if (!layer.isString()) {
            fail(where, text("texts are expected."));
        }
        names.append(layer.toString());
    }
    return names;
}

SheetItem itemFrom(const QJsonValue& value, const QString& where) {
    using Kind = SheetItem::Kind;
    Members members(value, where);
    SheetItem item;
    if (!members.has("kind")) {
        fail(where, text("\"kind\" is missing."));
    }
    item.kind = oneOf(members, "kind",
                      {Named<Kind>{"text", Kind::Text},
                       {"scaleBar", Kind::ScaleBar},
                       {"north", Kind::NorthArrow},
                       {"legend", Kind::Legend},
                       {"inset", Kind::Inset}},
                      item.kind);
    item.of =
        oneOf(members, "of", {Named<SheetItem::Of>{"map", SheetItem::Of::Map}, {"page", SheetItem::Of::Page}},
              item.of);
    item.anchor = oneOf(members, "at",
                        {Named<QPointF>{"topLeft", {0.0, 0.0}},
                         {"top", {0.5, 0.0}},
                         {"topRight", {1.0, 0.0}},
                         {"left", {0.0, 0.5}},
                         {"center", {0.5, 0.5}},
                         {"right", {1.0, 0.5}},
                         {"bottomLeft", {0.0, 1.0}},
                         {"bottom", {0.5, 1.0}},
                         {"bottomRight", {1.0, 1.0}}},
                        item.anchor);
    double inset[2] = {item.anchor.x() == 0.5 ? 0.0 : item.inset.x(),
                       item.anchor.y() == 0.5 ? 0.0 : item.inset.y()};
    numbersOf(members, "inset", inset, -widestPage, widestPage);
    item.inset = {inset[0], inset[1]};
    double size[2] = {0.0, 0.0};
    numbersOf(members, "size", size, 0.0, widestPage);
    item.size = {size[0], size[1]};
    item.letters = numberOf(members, "letters", item.letters, 1.0, 500.0);
    item.hasBox = members.boolean("box", item.hasBox);
    switch (item.kind) {
    case Kind::Text:
        item.text = members.string("text");
        if (item.text.size() > longestText) {
            fail(members.where("text"), text("there are more than 10,000 letters."));
        }
        item.isBold = members.boolean("bold", item.isBold);
        item.isFaint = members.boolean("faint", item.isFaint);
        item.align = oneOf(members, "align",
                           {Named<Qt::Alignment>{"left", Qt::AlignLeft},
                            {"center", Qt::AlignHCenter},
                            {"right", Qt::AlignRight}},
                           item.align);
        break;
    case Kind::ScaleBar:
        item.units = oneOf(members, "units",
                           {Named<ScaleUnits>{"metric", ScaleUnits::Metric},
                            {"imperial", ScaleUnits::Imperial},
                            {"degrees", ScaleUnits::Degrees}},
                           item.units);
        break;
    case Kind::Legend:
        item.text = members.string("title").left(longestText);
        item.layers = layersOf(members);
        item.hasCounts = members.boolean("counts", item.hasCounts);
        break;
    case Kind::Inset:
        item.layers = layersOf(members);
        item.extent = extentOf(members);
        break;
    case Kind::NorthArrow:
        break;
    }
    members.refuseOthers();
    return item;
}

} // namespace

QSize SheetDescription::pixels() const {
    const QSizeF exact = size * (dotsPerInch / millimetersPerInch);
    return {qRound(exact.width()), qRound(exact.height())};
}

QString SheetDescription::title() const {
    const auto title = std::find_if(items.cbegin(), items.cend(), [](const SheetItem& item) {
        return item.kind == SheetItem::Kind::Text && item.isBold;
    });
    return title == items.cend() ? QString() : title->text.simplified();
}

SheetDescription SheetDescription::fromJson(const QByteArray& json) {
    if (json.size() > largestSheetFile) {
        fail(text("sheet"), text("a sheet has 1 MB at most."));
    }
    Members members(GisSymbologyJson::fromText(json), text("sheet"));
    if (members.string("kind") != QLatin1String("sheet") || members.number("version", 0.0) != 1.0) {
        fail(text("sheet"), text("this is no sheet of version 1."));
    }
    SheetDescription sheet;
    readPage(members, sheet);
    readColours(members, sheet.colours);
    readMap(members, sheet);
    const QJsonArray items = members.array("items");
    members.refuseOthers();
    if (items.size() > mostItems) {
        fail(text("sheet.items"), text("there are more than 200 items."));
    }
    qsizetype insets = 0;
    for (qsizetype i = 0; i < items.size(); ++i) {
        const QString where = QStringLiteral("sheet.items[%1]").arg(i);
        sheet.items.append(itemFrom(items.at(i), where));
        const SheetItem& item = sheet.items.constLast();
        if (item.kind == SheetItem::Kind::Inset) {
            if (++insets > mostInsets) {
                fail(where, text("there are more than 16 inset maps."));
            }
            if (item.size.width() > sheet.size.width() || item.size.height() > sheet.size.height()) {
                fail(where + text(".size"), text("this is more than the page."));
            }
        }
    }
    return sheet;
}

SheetDescription SheetDescription::load(const QString& path) {
    const QString quoted = QStringLiteral("'%1'").arg(path);
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(quoted, file.errorString());
    }
    try {
        return fromJson(file.read(largestSheetFile + 1));
    } catch (const std::runtime_error& error) {
        fail(quoted, QString::fromUtf8(error.what()));
    }
}

} // namespace Cartolith::Map::Furniture
