#include <Cartolith/Map/Output/PdfFileInternal.h>
#include <Cartolith/Map/Output/PdfGroupsInternal.h>

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>
#include <zlib.h>

namespace Cartolith::Map::Output::Internal {

namespace {

/// Places far outside of any page.
constexpr int markX = -7'654'321;
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

QByteArray mark(int number) {
    const QByteArray y = ' ' + QByteArray::number(-number);
    return QByteArray::number(markX) + y + " m\n" + QByteArray::number(markX - 1) + y + " l\nf*\n";
}

[[noreturn]] void refuse() {
    throw std::runtime_error("the layers of the PDF cannot be told apart");
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

/// Takes what is between the marks of a group out of the page, whole levels of its graphics state, and
/// has the page draw the group's form there.
QByteArray takeGroup(QByteArray& operators, int group, const QByteArray& name) {
    // A changed clip closes both levels that the writer has open, and opens new ones.
    const QByteArray border = "\nQ q\n";
    constexpr qsizetype level = 2; // from there to where nothing is open
    const qsizetype begin = operators.indexOf(mark(2 * group + 1));
    const qsizetype end = operators.indexOf(mark(2 * group + 2));
    const qsizetype first = begin < 0 ? -1 : operators.indexOf(border, begin);
    const qsizetype last = end < 0 ? -1 : operators.lastIndexOf(border, end);
    if (first < 0 || last < first) {
        refuse();
    }
    QByteArray form = operators.mid(first + level, last - first) + '\n';
    operators.replace(first + level, last - first, "\nq\n/Layer" + name + " gs\n/Layer" + name + " Do\nQ");
    for (const int number : {2 * group + 1, 2 * group + 2}) {
        operators.replace(mark(number), "");
    }
    return form;
}

void insertAfter(QByteArray& text, const char* place, const QByteArray& what) {
    const qsizetype at = text.indexOf(place);
    if (at < 0) {
        refuse();
    }
    text.insert(at + static_cast<qsizetype>(qstrlen(place)), what);
}

} // namespace

void PdfGroups::begin(QPainter& painter, double opacity, LayerBlend blend) {
    m_groups.append({opacity, blend});
    drawMark(painter, static_cast<int>(2 * m_groups.size() - 1));
}

void PdfGroups::end(QPainter& painter) {
    drawMark(painter, static_cast<int>(2 * m_groups.size()));
}

QByteArray PdfGroups::applied(const QByteArray& pdf) const {
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
    const auto textOf = [&](qint64 number) {
        const qint64 place = file.offsets().value(number);
        const auto next = byPlace.upper_bound(place);
        const qint64 end = next == byPlace.cend() ? file.tableOffset() : next->first;
        return pdf.mid(place, end - place);
    };
    QByteArray operators = unpacked(textOf(contents));
    QByteArray known = textOf(resources);
    QList<QByteArray> forms;
    QByteArray states;
    QByteArray names;
    for (qsizetype i = 0; i < m_groups.size(); ++i) {
        const QByteArray name = QByteArray::number(i + 1);
        const QByteArray form = takeGroup(operators, static_cast<int>(i), name);
        const QByteArray opacity = QByteArray::number(std::clamp(m_groups.at(i).opacity, 0.0, 1.0), 'f', 4);
        states += "/Layer" + name + " << /ca " + opacity + " /CA " + opacity + " /BM " +
                  blendName(m_groups.at(i).blend) + " >>\n";
        names += "/Layer" + name + ' ' + QByteArray::number(file.objectCount() + i) + " 0 R\n";
        QByteArray box;
        for (const double bound : {m_bounds.left(), m_bounds.top(), m_bounds.right(), m_bounds.bottom()}) {
            box += QByteArray::number(bound, 'f', 3) + ' ';
        }
        forms.append(stream("/Type /XObject /Subtype /Form /BBox [" + box +
                                "]\n/Group << /S /Transparency /CS /DeviceRGB /I true >>\n/Resources " +
                                QByteArray::number(resources) + " 0 R\n",
                            form));
    }
    insertAfter(known, "/ExtGState <<\n", states);
    insertAfter(known, "/XObject <<\n", names);

    // The same objects in the same order, and a new table of where they are.
    QByteArray result = pdf.first(byPlace.empty() ? 0 : byPlace.cbegin()->first);
    std::map<qint64, qint64> places;
    const auto add = [&](qint64 number, const QByteArray& text) {
        places.emplace(number, result.size());
        result += text;
    };
    const auto object = [](qint64 number, const QByteArray& content) {
        return QByteArray::number(number) + " 0 obj\n" + content + "endobj\n";
    };
    for (const auto& [place, number] : byPlace) {
        add(number, number == contents    ? object(number, stream("", operators))
                    : number == resources ? known
                                          : textOf(number));
    }
    for (qsizetype i = 0; i < forms.size(); ++i) {
        add(file.objectCount() + i, object(file.objectCount() + i, forms.at(i)));
    }
    const qint64 table = result.size();
    const qint64 count = file.objectCount() + forms.size();
    result += "xref\n0 " + QByteArray::number(count) + '\n';
    for (qint64 number = 0; number < count; ++number) {
        const auto placed = places.find(number);
        const qint64 place = placed == places.cend() ? 0 : placed->second;
        result +=
            QByteArray::number(place).rightJustified(10, '0') + (place > 0 ? " 00000 n \n" : " 65535 f \n");
    }
    result += "trailer\n<<\n/Size " + QByteArray::number(count) + '\n';
    for (const char* key : {"Root", "Info", "ID"}) {
        if (file.trailer().contains(key)) {
            result += QByteArray("/") + key + ' ' + file.trailer().value(key).toByteArray() + '\n';
        }
    }
    return result + ">>\nstartxref\n" + QByteArray::number(table) + "\n%%EOF\n";
}

} // namespace Cartolith::Map::Output::Internal
