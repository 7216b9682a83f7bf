#include <Cartolith/Map/Output/PdfFileInternal.h>
#include <Cartolith/Map/Output/PdfFormsInternal.h>

#include <QPainter>
#include <QPainterPath>
#include <QStringEncoder>
#include <QTransform>

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>
#include <vector>
#include <zlib.h>

namespace Cartolith::Map::Output::Internal {

namespace {

/// Places far outside of any page.
constexpr int markX = -7'654'321;
constexpr int placeX = -7'654'331;
constexpr int textX = -7'654'341;
constexpr qsizetype lengthBefore = 4; // what qCompress() writes

void drawMark(QPainter& painter, int number) {
    painter.save();
    painter.setClipping(false);
    painter.resetTransform();
    QPainterPath path;
    path.moveTo(markX, -number);
    path.lineTo(markX - 1, -number);
    painter.fillPath(path, Qt::black);
    painter.restore();
}

/// A path that leaves a number and a place.
void drawNumber(QPainter& painter, int x, int number, QPointF place) {
    static const QBrush black(Qt::black); // one and the same needs no change of state
    QPainterPath path;
    path.moveTo(x, -number - 1);
    path.lineTo(place);
    painter.setPen(Qt::NoPen);
    painter.setBrush(black);
    painter.drawPath(path);
}

/// In units of the device, whatever the painter's are.
void drawTextMark(QPainter& painter, qsizetype number) {
    painter.save();
    painter.resetTransform();
    drawNumber(painter, textX, static_cast<int>(number), {textX, 0.0});
    painter.restore();
}

QByteArray mark(int number) {
    const QByteArray y = ' ' + QByteArray::number(-number);
    return QByteArray::number(markX) + y + " m\n" + QByteArray::number(markX - 1) + y + " l\nf*\n";
}

[[noreturn]] void refuse() {
    throw std::runtime_error("the parts of the PDF cannot be told apart");
}

const char* blendName(LayerBlend blend) {
    constexpr std::array<const char*, 6> names{"/Normal",  "/Multiply", "/Screen",
                                               "/Overlay", "/Darken",   "/Lighten"};
    return names.at(static_cast<std::size_t>(blend));
}

/// An object's content; with a length that every reader finds.
QByteArray stream(const QByteArray& entries, const QByteArray& bytes) {
    const QByteArray packed = qCompress(bytes).sliced(lengthBefore);
    return "<<\n" + entries + "/Length " + QByteArray::number(packed.size()) +
           "\n/Filter /FlateDecode\n>>\nstream\n" + packed + "\nendstream\n";
}

QByteArray unpacked(const QByteArray& object) {
    constexpr std::size_t step = std::size_t{1} << 20U;
    const QByteArray start = "stream\n";
    const qsizetype from = object.indexOf(start);
    z_stream packed{};
    if (from < 0 || inflateInit(&packed) != Z_OK) {
        refuse();
    }
    QByteArray bytes;
    packed.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(object.constData() + from + start.size()));
    packed.avail_in = static_cast<uInt>(object.size() - from - start.size());
    int code = Z_OK;
    while (code == Z_OK) {
        const qsizetype before = bytes.size();
        bytes.resize(before + static_cast<qsizetype>(step));
        packed.next_out = reinterpret_cast<Bytef*>(bytes.data() + before);
        packed.avail_out = step;
        code = inflate(&packed, Z_NO_FLUSH);
        bytes.resize(before + static_cast<qsizetype>(step - packed.avail_out));
    }
    inflateEnd(&packed);
    if (code != Z_STREAM_END) {
        refuse();
    }
    return bytes;
}

void insertAfter(QByteArray& text, const char* place, const QByteArray& what) {
    const qsizetype at = text.indexOf(place);
    if (at < 0) {
        refuse();
    }
    text.insert(at + static_cast<qsizetype>(qstrlen(place)), what);
}

QByteArray number(double value) {
    return QByteArray::number(value, 'g', 12);
}

QByteArray matrixOf(const QTransform& transform) {
    QByteArray text;
    for (const double value : {transform.m11(), transform.m12(), transform.m21(), transform.m22(),
                               transform.dx(), transform.dy()}) {
        text += number(value) + ' ';
    }
    return text;
}

QTransform matrixFrom(const QList<QByteArray>& words, qsizetype from) {
    const auto at = [&](qsizetype i) { return words.at(from + i).toDouble(); };
    return {at(0), at(1), at(2), at(3), at(4), at(5)};
}

/// What the writer begins a page with: plain colours, and the way from its device to the page.
struct Beginning {
    QByteArray operators;
    QTransform toPage;
};

Beginning beginningOf(const QByteArray& operators) {
    const QByteArray end = " cm\n";
    const qsizetype to = operators.indexOf(end);
    const qsizetype from = operators.lastIndexOf('\n', to) + 1;
    const QList<QByteArray> numbers = operators.mid(from, to - from).split(' ');
    constexpr qsizetype ofMatrix = 6;
    if (to < 0 || numbers.size() != ofMatrix) {
        refuse();
    }
    const QTransform toPage = matrixFrom(numbers, 0);
    if (!toPage.isInvertible()) {
        refuse();
    }
    return {operators.first(to + end.size()), toPage};
}

/// Calls function(number, place) with each number that was left at x, and before it other(bytes) with what is
/// between it and the last one; at the end, too.
template <typename Other, typename Function>
void forEachNumber(const QByteArray& operators, int x, Other other, Function function) {
    const QByteArray start = QByteArray::number(x) + " -";
    const QByteArray middle = " m\n";
    const QByteArray end = " l\nf*\n";
    qsizetype from = 0;
    for (qsizetype at = operators.indexOf(start); at >= 0; at = operators.indexOf(start, from)) {
        const qsizetype first = at + start.size();
        const qsizetype second = operators.indexOf(middle, first);
        const qsizetype last = second < 0 ? -1 : operators.indexOf(end, second);
        if (last < 0 || operators.indexOf(' ', second + middle.size()) > last) {
            refuse();
        }
        other(QByteArrayView(operators).sliced(from, at - from));
        function(operators.mid(first, second - first).toInt() - 1,
                 operators.mid(second + middle.size(), last - second - middle.size()));
        from = last + end.size();
    }
    other(QByteArrayView(operators).sliced(from));
}

/// What the writer draws as texts, each in a coordinate system of its own, as a single one that is marked:
/// readers look for a marked text from its first letter to the last, in one coordinate system. Where there is
/// more than text, it stays as it is and is marked from outside.
QByteArray asOneText(const QByteArray& operators, const QString& text) {
    QStringEncoder utf16(QStringConverter::Utf16BE);
    const QByteArray bytes = utf16(text);
    const QByteArray begin = "/Span << /ActualText <FEFF" + bytes.toHex() + "> >> BDC\n";
    QByteArray asItIs = begin + operators + "EMC\n";
    QByteArray look; // of the first letters; the others have the same
    QByteArray letters;
    QList<QTransform> levels;
    QTransform toDevice;
    bool isText = false;
    for (const QByteArray& line : operators.split('\n')) {
        const QList<QByteArray> words = line.split(' ');
        const QByteArray& last = words.constLast();
        constexpr qsizetype ofMatrix = 6;
        if (line == "q") {
            levels.append(toDevice);
        } else if (line == "Q") {
            toDevice = levels.isEmpty() ? QTransform() : levels.takeLast();
        } else if (line == "BT" || line == "ET") {
            isText = line == "BT";
        } else if (last == "cm" && words.size() == ofMatrix + 1) {
            toDevice = matrixFrom(words, 0) * toDevice;
        } else if (isText && last == "Tm" && words.size() == ofMatrix + 4) {
            letters +=
                words.at(0) + ' ' + words.at(1) + " Tf " + matrixOf(matrixFrom(words, 3) * toDevice) + "Tm\n";
        } else if (isText && last == "Tj") {
            letters += line + '\n';
        } else if (!isText && (last == "scn" || last == "gs")) {
            look += letters.isEmpty() ? line + '\n' : QByteArray();
        } else if (isText || (last != "SCN" && last != "d" && !line.isEmpty())) {
            return asItIs;
        }
    }
    return letters.isEmpty() ? asItIs : "q\n" + look + "BT\n" + begin + letters + "EMC\nET\nQ\n";
}

} // namespace

/// The page without its forms.
struct PdfForms::Content {
    QByteArray page;
    QList<QByteArray> forms;
};

void PdfForms::begin(QPainter& painter, const Form& form) {
    m_forms.append(form);
    drawMark(painter, static_cast<int>(2 * m_forms.size() - 1));
}

void PdfForms::beginGroup(QPainter& painter, double opacity, LayerBlend blend) {
    begin(painter, {m_bounds, opacity, blend});
}

void PdfForms::endGroup(QPainter& painter) {
    drawMark(painter, static_cast<int>(2 * m_forms.size()));
}

void PdfForms::drawPlace(QPainter& painter, int marker, QPointF place) {
    drawNumber(painter, placeX, marker, place);
}

void PdfForms::beginMarker(QPainter& painter, int marker, const QRectF& bounds) {
    Form form;
    form.bounds = bounds;
    form.marker = marker;
    begin(painter, form);
    painter.save();
    painter.setClipRect(bounds);
}

void PdfForms::endMarker(QPainter& painter) {
    painter.restore();
    drawMark(painter, static_cast<int>(2 * m_forms.size()));
}

void PdfForms::beginText(QPainter& painter, const QString& text) {
    m_texts.append(text);
    drawTextMark(painter, 2 * (m_texts.size() - 1));
}

void PdfForms::endText(QPainter& painter) {
    drawTextMark(painter, 2 * m_texts.size() - 1);
}

/// With even numbers where texts begin, and odd ones where they end.
QByteArray PdfForms::withTexts(const QByteArray& operators) const {
    QByteArray result;
    QByteArray last;
    forEachNumber(
        operators, textX,
        [&](QByteArrayView other) {
            result += last;
            last = other.toByteArray();
        },
        [&](int number, const QByteArray& /*place*/) {
            if (number < 0 || number / 2 >= m_texts.size()) {
                refuse();
            }
            if (number % 2 != 0) {
                last = asOneText(last, m_texts.at(number / 2));
            }
        });
    return result + last;
}

/// Takes what is between the marks of each form out of the page, whole levels of its graphics state, and has
/// the page draw the forms of groups there.
PdfForms::Content PdfForms::contentOf(const QByteArray& operators) const {
    // A changed clip closes both levels that the writer has open, and opens new ones.
    const QByteArray border = "\nQ q\n";
    constexpr qsizetype level = 2; // from there to where nothing is open
    Content content;
    qsizetype from = 0;
    for (qsizetype i = 0; i < m_forms.size(); ++i) {
        const QByteArray beginMark = mark(static_cast<int>(2 * i + 1));
        const QByteArray endMark = mark(static_cast<int>(2 * i + 2));
        const qsizetype begin = operators.indexOf(beginMark, from);
        const qsizetype end = begin < 0 ? -1 : operators.indexOf(endMark, begin);
        const qsizetype first = end < 0 ? -1 : operators.indexOf(border, begin);
        const qsizetype last = end < 0 ? -1 : operators.lastIndexOf(border, end);
        if (first < 0 || last < first) {
            refuse();
        }
        content.page += operators.mid(from, begin - from);
        const qsizetype afterMark = begin + beginMark.size();
        content.page += operators.mid(afterMark, first + level - afterMark);
        content.forms.append(operators.mid(first + level, last - first) + '\n');
        if (m_forms.at(i).marker < 0) {
            const QByteArray name = QByteArray::number(i + 1);
            content.page += "\nq\n/Form" + name + " gs\n/Form" + name + " Do\nQ";
        }
        content.page += operators.mid(last + level, end - last - level);
        from = end + endMark.size();
    }
    content.page += operators.mid(from);
    return content;
}

QByteArray PdfForms::applied(const QByteArray& pdf) const {
    const PdfFile file(pdf);
    const PdfFile::Page page = file.page(0);
    const qint64 contents = PdfFile::referenceOf(page.entries.value("Contents")).number;
    const qint64 resources = PdfFile::referenceOf(page.entries.value("Resources")).number;
    std::map<qint64, qint64> byPlace; // the objects
    for (auto known = file.offsets().cbegin(); known != file.offsets().cend(); ++known) {
        if (known.value() > 0) {
            byPlace.emplace(known.value(), known.key());
        }
    }
    const auto textOf = [&](qint64 id) {
        const qint64 place = file.offsets().value(id);
        const auto next = byPlace.upper_bound(place);
        const qint64 end = next == byPlace.cend() ? file.tableOffset() : next->first;
        return pdf.mid(place, end - place);
    };
    Content content = contentOf(unpacked(textOf(contents)));
    const Beginning beginning = beginningOf(content.page);

    // A marker with few places is drawn at each of them, unless it has gradients, whose places are the
    // page's.
    constexpr int few = 2;
    std::vector<int> uses(static_cast<std::size_t>(m_markers));
    std::vector<qsizetype> formOf(uses.size(), -1);
    for (qsizetype i = 0; i < m_forms.size(); ++i) {
        if (m_forms.at(i).marker >= 0) {
            formOf.at(static_cast<std::size_t>(m_forms.at(i).marker)) = i;
        }
    }
    const auto withMarkers = [&](const QByteArray& operators, const auto& textOfMarker) {
        QByteArray result;
        forEachNumber(
            operators, placeX, [&](QByteArrayView other) { result += other; },
            [&](int marker, const QByteArray& place) {
                const auto at = static_cast<std::size_t>(marker);
                if (marker < 0 || at >= formOf.size() || formOf[at] < 0) {
                    refuse();
                }
                result += textOfMarker(at, place);
            });
        return result;
    };
    const auto count = [&uses](std::size_t marker, const QByteArray& /*place*/) {
        ++uses[marker];
        return QByteArray();
    };
    (void)withMarkers(content.page, count);
    for (const QByteArray& form : std::as_const(content.forms)) {
        (void)withMarkers(form, count);
    }
    const auto isInline = [&](qsizetype form) {
        const int marker = m_forms.at(form).marker;
        return marker >= 0 && uses[static_cast<std::size_t>(marker)] <= few &&
               !content.forms.at(form).contains("/PCSp");
    };
    const auto place = [&](std::size_t marker, const QByteArray& at) {
        const qsizetype form = formOf[marker];
        const QPointF middle = m_forms.at(form).bounds.center();
        const qsizetype space = at.indexOf(' ');
        return "q\n1 0 0 1 " + number(at.first(space).toDouble() - middle.x()) + ' ' +
               number(at.mid(space + 1).toDouble() - middle.y()) + " cm\n" +
               (isInline(form) ? content.forms.at(form) : "/Form" + QByteArray::number(form + 1) + " Do\n") +
               "Q\n";
    };
    const QByteArray operators = withTexts(withMarkers(content.page, place));

    QByteArray known = textOf(resources);
    QList<QByteArray> forms;
    QByteArray states;
    QByteArray names;
    for (qsizetype i = 0; i < m_forms.size(); ++i) {
        if (isInline(i)) {
            continue;
        }
        const Form& form = m_forms.at(i);
        const bool isGroup = form.marker < 0;
        const QByteArray name = "/Form" + QByteArray::number(i + 1);
        if (isGroup) {
            const QByteArray opacity = QByteArray::number(std::clamp(form.opacity, 0.0, 1.0), 'f', 4);
            states +=
                name + " << /ca " + opacity + " /CA " + opacity + " /BM " + blendName(form.blend) + " >>\n";
        }
        names += name + ' ' + QByteArray::number(file.objectCount() + forms.size()) + " 0 R\n";
        // Begins as the page does, so that gradients, which know the page alone, are in their places.
        const QRectF box = beginning.toPage.mapRect(form.bounds);
        forms.append(stream("/Type /XObject /Subtype /Form /BBox [" + number(box.left()) + ' ' +
                                number(box.top()) + ' ' + number(box.right()) + ' ' + number(box.bottom()) +
                                "]\n/Matrix [" + matrixOf(beginning.toPage.inverted()) + "]\n" +
                                (isGroup ? "/Group << /S /Transparency /CS /DeviceRGB /I true >>\n" : "") +
                                "/Resources " + QByteArray::number(resources) + " 0 R\n",
                            beginning.operators + withMarkers(content.forms.at(i), place)));
    }
    insertAfter(known, "/ExtGState <<\n", states);
    insertAfter(known, "/XObject <<\n", names);

    // The same objects in the same order, and a new table of where they are.
    QByteArray result = pdf.first(byPlace.empty() ? 0 : byPlace.cbegin()->first);
    std::map<qint64, qint64> places;
    const auto add = [&](qint64 id, const QByteArray& text) {
        places.emplace(id, result.size());
        result += text;
    };
    const auto object = [](qint64 id, const QByteArray& text) {
        return QByteArray::number(id) + " 0 obj\n" + text + "endobj\n";
    };
    for (const auto& [at, id] : byPlace) {
        add(id, id == contents ? object(id, stream("", operators)) : id == resources ? known : textOf(id));
    }
    for (qsizetype i = 0; i < forms.size(); ++i) {
        add(file.objectCount() + i, object(file.objectCount() + i, forms.at(i)));
    }
    const qint64 table = result.size();
    const qint64 objects = file.objectCount() + forms.size();
    result += "xref\n0 " + QByteArray::number(objects) + '\n';
    for (qint64 id = 0; id < objects; ++id) {
        const auto placed = places.find(id);
        const qint64 offset = placed == places.cend() ? 0 : placed->second;
        result +=
            QByteArray::number(offset).rightJustified(10, '0') + (offset > 0 ? " 00000 n \n" : " 65535 f \n");
    }
    result += "trailer\n<<\n/Size " + QByteArray::number(objects) + '\n';
    for (const char* key : {"Root", "Info", "ID"}) {
        if (file.trailer().contains(key)) {
            result += QByteArray("/") + key + ' ' + file.trailer().value(key).toByteArray() + '\n';
        }
    }
    return result + ">>\nstartxref\n" + QByteArray::number(table) + "\n%%EOF\n";
}

} // namespace Cartolith::Map::Output::Internal
