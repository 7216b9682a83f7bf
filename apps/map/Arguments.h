#pragma once

#include <Cartolith/Core/Shapes/GisExtent.h>
#include <Cartolith/Core/Shapes/GisShapePoint.h>

#include <QList>
#include <QSize>
#include <QString>

#include <memory>
#include <stdexcept>
#include <utility>

class QCommandLineParser;

namespace Cartolith::Map::Output {
struct PageSetup;
}

namespace Cartolith::Core::CoordinateSystems {
class CoordinateSystem;
}

/// A command line that cannot be obeyed: exit code 2, and a hint at --help.
class UsageError : public std::runtime_error {
public:
    explicit UsageError(const QString& message) : std::runtime_error(message.toStdString()) {}
};

/// Reading of single command-line values; each throws UsageError naming the option and what it wants.
namespace Arguments {

/// "1600x900", each side from 64 to 16384.
QSize size(const QString& text);
/// "A4", "A4-landscape", "420x297mm", each side from 10 to 5000 mm.
Cartolith::Map::Output::PageSetup page(const QString& text);
/// The whole pixels of a sheet of paper. \throws UsageError naming --dpi when there are too few or too many
QSize sizeOf(const Cartolith::Map::Output::PageSetup& page);
/// "xmin,ymin,xmax,ymax", finite.
Cartolith::Core::Shapes::GisExtent extent(const QString& text);
/// "x,y" in whatever units: finite, or the message of lonLat().
Cartolith::Core::Shapes::GisShapePoint place(const QString& option, const QString& text);
/// "west,south,east,north" in degrees, in metres of EPSG:3857.
Cartolith::Core::Shapes::GisExtent mercatorExtent(const QString& text);
/// "3" or "0-12".
std::pair<int, int> zooms(const QString& text);
/// "longitude,latitude" in degrees.
Cartolith::Core::Shapes::GisShapePoint lonLat(const QString& option, const QString& text);
/// A number within the closed bounds.
double number(const QString& option, const QString& text, double least, double most);
/// A whole number within the closed bounds.
int whole(const QString& option, const QString& text, int least, int most);
/// "1,2.5,4": at least two different finite numbers, in the order given.
QList<double> breaks(const QString& option, const QString& text);
/// Whether it is a colour: "#RGB", "#RRGGBB", "#AARRGGBB", "transparent", or a name of SVG such as "red".
bool isColour(const QString& text);
/// Such a colour, given back as "#RRGGBB" or "#AARRGGBB".
QString colour(const QString& option, const QString& text);
/// "EPSG:3857", WKT, PROJ text, or the name of a file with one of these; null when the option is not given.
std::shared_ptr<Cartolith::Core::CoordinateSystems::CoordinateSystem>
coordinateSystem(const QCommandLineParser& parser, const QString& option);
/// So many numbers between commas, finite.
QList<double> numbers(const QString& option, const QString& text, qsizetype count, const QString& what);
/// There is no such name: say which there are.
[[noreturn]] void unknown(const QString& what, const QString& name, const QStringList& known);
/// \throws UsageError when the file to be written is one of those that are read
void requireUnread(const QString& output, const QStringList& inputs);
/// The options of the list make no sense: say why when one of them is there.
void refuse(const QCommandLineParser& parser, const QStringList& options, const QString& why);

} // namespace Arguments
