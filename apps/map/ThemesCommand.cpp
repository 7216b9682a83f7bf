#include "Arguments.h"
#include "Commands.h"
#include "MarkedPicture.h"
#include "ThemeSheet.h"

#include <QCommandLineParser>

namespace {

const char* const themesText = R"(cartolith-map themes: draw the built-in themes side by side

  cartolith-map themes -o PICTURE [--size WxH]

Each theme with sample areas, one of them selected, lines, points, a label with its halo, and its ramp. The picture
has 1200x700 pixels when no size is given.

Example
  cartolith-map themes -o themes.png
)";

} // namespace

QString Commands::themesHelp() {
    return QString::fromUtf8(themesText);
}

int Commands::themes(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.addOptions({{{"o", "output"}, "", "picture"}, {"size", "", "WxH"}});
    if (!parser.parse(QStringList{QStringLiteral("themes")} + arguments)) {
        throw UsageError(parser.errorText());
    }
    if (!parser.positionalArguments().isEmpty()) {
        throw UsageError(QStringLiteral("themes wants no FILE"));
    }
    MarkedPicture::checkName(QStringLiteral("themes"), parser.value("output"));
    const QSize size = parser.isSet("size") ? Arguments::size(parser.value("size")) : QSize(1200, 700);
    MarkedPicture::save(ThemeSheet::draw(size), parser.value("output"));
    return 0;
}
