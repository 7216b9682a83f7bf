#include <Cartolith/Map/Output/SvgSyntaxInternal.h>

#include <cmath>

namespace Cartolith::Map::Output::Internal {

void SvgSyntax::appendScaled(QByteArray& bytes, qint64 scaled, int decimals) {
    if (scaled < 0) {
        bytes.append('-');
        scaled = -scaled;
    }
    qint64 unit = 1;
    for (int i = 0; i < decimals; ++i) {
        unit *= 10;
    }
    const qint64 whole = scaled / unit;
    qint64 rest = scaled % unit;
    if (whole != 0 || rest == 0) {
        bytes.append(QByteArray::number(whole));
    }
    if (rest != 0) {
        bytes.append('.');
        for (qint64 digit = unit / 10; rest != 0; digit /= 10) {
            bytes.append(static_cast<char>('0' + rest / digit));
            rest %= digit;
        }
    }
}

void SvgSyntax::appendNumber(QByteArray& bytes, double value) {
    const bool isUsable = std::isfinite(value) && std::abs(value) < 1e12;
    appendScaled(bytes, isUsable ? std::llround(value * 1e4) : 0, 4);
}

void SvgSyntax::appendEscaped(QByteArray& bytes, QStringView text) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar letter = text[i];
        const char16_t code = letter.unicode();
        const bool isPair = letter.isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate();
        if (isPair) {
            bytes.append(text.sliced(i, 2).toUtf8());
            ++i;
        } else if (letter.isSurrogate() || code >= 0xFFFE ||
                   (code < 0x20 && code != '\t' && code != '\n' && code != '\r')) {
            bytes.append("\xEF\xBF\xBD");
        } else if (code < 0x20 || code == '<' || code == '>' || code == '&' || code == '"') {
            bytes.append("&#").append(QByteArray::number(code)).append(';');
        } else if (code < 0x80) {
            bytes.append(static_cast<char>(code));
        } else {
            bytes.append(text.sliced(i, 1).toUtf8());
        }
    }
}

void SvgSyntax::appendColor(QByteArray& bytes, const char* attribute, const QColor& color) {
    bytes.append(' ').append(attribute).append("=\"");
    if (!color.isValid() || color.alpha() == 0) {
        bytes.append("none\"");
        return;
    }
    bytes.append(color.name().toLatin1()).append('"');
    if (color.alpha() < 255) {
        bytes.append(' ').append(attribute).append("-opacity=\"");
        appendNumber(bytes, color.alphaF());
        bytes.append('"');
    }
}

QString SvgSyntax::idOf(const QString& name) {
    QString id;
    for (const QChar letter : name) {
        const bool isPlain = letter.unicode() < 0x80 && letter.isLetterOrNumber();
        id.append(isPlain || letter == u'-' ? letter : u'_');
    }
    const bool startsWell = !id.isEmpty() && id.front().isLetter();
    return startsWell ? id : QStringLiteral("layer-") + id;
}

} // namespace Cartolith::Map::Output::Internal
