#include <Cartolith/Map/Furniture/SheetItemsInternal.h>
#include <Cartolith/Map/Furniture/StandardSheetInternal.h>
#include <Cartolith/Map/SheetFont.h>

namespace Cartolith::Map::Furniture::Internal {

QList<LegendContent> legendsOf(const MapSheet::Options& options) {
    QList<LegendContent> legends = options.legends;
    if (options.legend) {
        legends.prepend(*options.legend);
    }
    return legends;
}

SheetDescription standardSheet(const MapSheet::Options& options) {
    const double millimeters = 25.4 / options.dotsPerInch; // a pixel
    const double height = options.size.height();
    const double margin = height * 0.025;
    const auto letters = [height](double share, double least) {
        return std::floor(std::max(least, height * share));
    };

    SheetDescription sheet;
    sheet.size = QSizeF(options.size) * millimeters;
    sheet.dotsPerInch = options.dotsPerInch;
    sheet.colours = options.colours;
    sheet.map.air = options.air;
    sheet.map.scaleDenominator = options.scaleDenominator;
    sheet.map.graticule = !options.graticule       ? GraticuleLines::None
                          : options.graticuleAbove ? GraticuleLines::Above
                                                   : GraticuleLines::Below;
    sheet.map.hasDegrees = options.degrees;
    const double small = letters(1.0 / 60.0, 8.0);
    sheet.map.degreeLetters = small * millimeters;

    SheetItem item;
    item.of = SheetItem::Of::Page;
    const double width = options.size.width() - 2.0 * margin;
    double head = margin;
    if (!options.title.isEmpty()) {
        head = height * 0.085;
        SheetItem title = item;
        title.text = options.title;
        title.isBold = true;
        title.anchor = {0.5, 0.0};
        const double size = letters(1.0 / 26.0, 10.0);
        title.letters = size * millimeters;
        title.inset = {0.0, std::max(0.0, (head - size * lineHeight) / 2.0) * millimeters};
        title.size = QSizeF(width, size * lineHeight) * millimeters;
        sheet.items.append(title);
    }
    double foot = margin;
    if (!options.note.isEmpty()) {
        SheetItem note = item;
        note.text = options.note;
        note.isFaint = true;
        note.align = Qt::AlignRight;
        note.anchor = {1.0, 1.0};
        note.letters = small * millimeters;
        constexpr qsizetype mostLines = 3;
        const double units = SheetUnits::perMillimeter * millimeters;
        const QFont font = sheetFont(SheetUnits::letters(note.letters), false);
        const double lines = static_cast<double>(wrapped(note.text, font, width * units, mostLines).size());
        const double line = small * lineHeight;
        foot = std::max(height * 0.045, lines * line + 0.4 * margin);
        note.inset = QPointF(margin, std::max(0.0, (foot - lines * line) / 2.0)) * millimeters;
        note.size = QSizeF(width, lines * line * 1.001) * millimeters;
        sheet.items.append(note);
    }
    QSizeF inner(width, std::max(1.0, height - head - foot));
    const QList<LegendContent> legends = legendsOf(options);
    if (!legends.isEmpty()) {
        SheetItem legend = item;
        legend.kind = SheetItem::Kind::Legend;
        legend.hasCounts = true;
        legend.anchor = {1.0, 0.0};
        legend.inset = QPointF(margin, head) * millimeters;
        legend.letters = letters(1.0 / 45.0, 10.0) * millimeters;
        constexpr double widest = 0.45; // of the sheet
        legend.size = QSizeF(options.size.width() * widest, inner.height()) * millimeters;
        const LegendStack stack(legends, options.colours, legend.size * SheetUnits::perMillimeter,
                                SheetUnits::letters(legend.letters));
        inner.rwidth() -=
            std::ceil(stack.size().width() / (SheetUnits::perMillimeter * millimeters) + margin);
        sheet.items.append(legend);
        if (!options.graticule) {
            sheet.colours.sea = sheet.colours.paper; // what samples lie on
        }
    }
    sheet.map.place = QRectF(QPointF(margin, head) * millimeters, inner * millimeters);

    SheetItem onMap;
    onMap.hasBox = true;
    onMap.letters = letters(1.0 / 55.0, 8.0) * millimeters;
    onMap.inset = QPointF(margin, margin) * 0.6 * millimeters;
    if (options.scaleBar) {
        onMap.kind = SheetItem::Kind::ScaleBar;
        onMap.units = *options.scaleBar;
        onMap.anchor = {1.0, 1.0};
        onMap.size = QSizeF(inner.width() * 0.22, 0.0) * millimeters;
        sheet.items.append(onMap);
    }
    if (options.northArrow) {
        onMap.kind = SheetItem::Kind::NorthArrow;
        onMap.anchor = {1.0, 0.0};
        onMap.size = QSizeF(height, height) * 0.06 * millimeters;
        sheet.items.append(onMap);
    }
    return sheet;
}

} // namespace Cartolith::Map::Furniture::Internal
