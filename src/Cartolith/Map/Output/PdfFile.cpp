#include <Cartolith/Map/Output/PdfFileInternal.h>

#include <QList>
#include <QSet>

#include <algorithm>
#include <stdexcept>

namespace Cartolith::Map::Output::Internal {

namespace {

constexpr qint64 mostObjects = 8'000'000;
constexpr int mostRevisions = 1'000;
constexpr int mostNodes = 1'000'000;

[[noreturn]] void refuse(const char* reason) {
    throw std::runtime_error(std::string("this PDF cannot be extended: ") + reason);
}

bool isSpace(char letter) {
    return letter == ' ' || letter == '\n' || letter == '\r' || letter == '\t' || letter == '\f' ||
           letter == '\0';
}

bool isDelimiter(char letter) {
    return QByteArrayView("()<>[]{}/%").contains(letter);
}

/// Goes through the file token by token. At its end it gives empty tokens.
class Tokens {
public:
    Tokens(QByteArrayView bytes, qint64 from) : m_bytes(bytes), m_place(from) {}

    qint64 place() const { return m_place; }

    QByteArrayView peek() {
        const qint64 before = m_place;
        const QByteArrayView token = next();
        m_place = before;
        return token;
    }

    /// A name with its slash, a number, a word, a whole string, or one of << >> [ ].
    QByteArrayView next() {
        skipSpace();
        const qint64 from = m_place;
        if (from >= m_bytes.size()) {
            return {};
        }
        const char first = m_bytes[m_place++];
        const bool isDouble =
            (first == '<' || first == '>') && m_place < m_bytes.size() && m_bytes[m_place] == first;
        if (isDouble) {
            ++m_place;
        } else if (first == '(') {
            skipText();
        } else if (first == '<') {
            while (m_place < m_bytes.size() && m_bytes[m_place++] != '>') {
            }
        } else if (first == '/' || !isDelimiter(first)) {
            while (m_place < m_bytes.size() && !isSpace(m_bytes[m_place]) && !isDelimiter(m_bytes[m_place])) {
                ++m_place;
            }
        }
        return m_bytes.sliced(from, m_place - from);
    }

    qint64 number() {
        bool isNumber = false;
        const qint64 value = next().toByteArray().toLongLong(&isNumber);
        if (!isNumber || value < 0) {
            refuse("a number is missing");
        }
        return value;
    }

    /// One value: up to the bracket that closes it, or a reference of three tokens.
    QByteArrayView value() {
        skipSpace();
        const qint64 from = m_place;
        QByteArray open; // brackets, the innermost last
        qint64 end = from;
        while (true) {
            const QByteArrayView token = next();
            if (token.isEmpty()) {
                refuse("it ends within a value");
            }
            if (token == "[" || token == "<<") {
                open += token.front();
            } else if (token == "]" || token == ">>") {
                if (!open.endsWith(token == "]" ? '[' : '<')) {
                    refuse("a bracket is missing");
                }
                open.chop(1);
            }
            end = m_place;
            if (!open.isEmpty()) {
                continue;
            }
            const QByteArrayView following = peek();
            const bool goesOn = token.front() >= '0' && token.front() <= '9' && !following.isEmpty() &&
                                ((following.front() >= '0' && following.front() <= '9') || following == "R");
            if (!goesOn) {
                return m_bytes.sliced(from, end - from);
            }
        }
    }

    PdfFile::Dictionary dictionary() {
        if (next() != "<<") {
            refuse("a dictionary is missing");
        }
        PdfFile::Dictionary entries;
        while (true) {
            const QByteArrayView key = next();
            if (key == ">>") {
                return entries;
            }
            if (key.size() < 2 || key.front() != '/') {
                refuse("a dictionary is damaged");
            }
            entries.insert(key.sliced(1).toByteArray(), value());
        }
    }

private:
    void skipSpace() {
        while (m_place < m_bytes.size()) {
            if (m_bytes[m_place] == '%') {
                while (m_place < m_bytes.size() && m_bytes[m_place] != '\n' && m_bytes[m_place] != '\r') {
                    ++m_place;
                }
            } else if (!isSpace(m_bytes[m_place])) {
                return;
            } else {
                ++m_place;
            }
        }
    }
    void skipText() {
        for (qint64 depth = 1; depth > 0 && m_place < m_bytes.size(); ++m_place) {
            const char letter = m_bytes[m_place];
            depth += letter == '(' ? 1 : letter == ')' ? -1 : 0;
            m_place += letter == '\\' ? 1 : 0;
        }
        m_place = std::min(m_place, static_cast<qint64>(m_bytes.size()));
    }

    QByteArrayView m_bytes;
    qint64 m_place;
};

} // namespace

PdfFile::Reference PdfFile::referenceOf(QByteArrayView text) {
    Tokens tokens(text, 0);
    Reference id;
    id.number = tokens.number();
    id.generation = tokens.number();
    if (tokens.next() != "R") {
        refuse("a reference is missing");
    }
    return id;
}

PdfFile::PdfFile(QByteArrayView bytes) : m_bytes(bytes) {
    if (!bytes.startsWith("%PDF-")) {
        refuse("it is no PDF");
    }
    const qsizetype tail = std::max<qsizetype>(0, bytes.size() - 2048);
    const qsizetype start = bytes.sliced(tail).lastIndexOf(QByteArrayView("startxref"));
    if (start < 0) {
        refuse("its end is missing");
    }
    Tokens tokens(bytes, tail + start);
    tokens.next();
    m_tableOffset = tokens.number();
    QSet<qint64> seen;
    m_previous = m_tableOffset;
    while (m_previous >= 0) {
        if (seen.contains(m_previous) || seen.size() >= mostRevisions) {
            refuse("its revisions go in a circle");
        }
        seen.insert(m_previous);
        readTable(m_previous, seen.size() == 1);
    }
}

void PdfFile::readTable(qint64 offset, bool isNewest) {
    if (offset >= m_bytes.size()) {
        refuse("its cross-reference table is missing");
    }
    Tokens tokens(m_bytes, offset);
    if (tokens.next() != "xref") {
        refuse("it has no plain cross-reference table");
    }
    while (tokens.peek() != "trailer") {
        const qint64 first = tokens.number();
        const qint64 count = tokens.number();
        if (first > mostObjects || count > mostObjects) {
            refuse("it has too many objects");
        }
        for (qint64 i = 0; i < count; ++i) {
            const qint64 place = tokens.number();
            tokens.number();
            const qint64 used = tokens.next() == "n" ? place : -1;
            if (!m_offsets.contains(first + i)) {
                m_offsets.insert(first + i, used);
            }
            m_objectCount = std::max(m_objectCount, first + i + 1);
        }
    }
    tokens.next();
    const Dictionary trailer = tokens.dictionary();
    if (trailer.contains("Encrypt")) {
        refuse("it is encrypted");
    }
    if (trailer.contains("XRefStm")) {
        refuse("a part of its cross-reference table is compressed");
    }
    m_previous = trailer.contains("Prev") ? Tokens(trailer.value("Prev"), 0).number() : -1;
    if (isNewest) {
        m_trailer = trailer;
        m_objectCount =
            std::max(m_objectCount, std::min(mostObjects, Tokens(trailer.value("Size"), 0).number()));
    }
}

PdfFile::Page PdfFile::object(const Reference& id) const {
    const qint64 offset = m_offsets.value(id.number, -1);
    if (offset < 0 || offset >= m_bytes.size()) {
        refuse("an object is missing");
    }
    Tokens tokens(m_bytes, offset);
    if (tokens.number() != id.number || tokens.number() != id.generation || tokens.next() != "obj") {
        refuse("an object is not where the cross-reference table has it");
    }
    Tokens whole = tokens;
    return {id, whole.value(), tokens.dictionary()};
}

PdfFile::Page PdfFile::page(int index) const {
    const Page catalogue = object(referenceOf(m_trailer.value("Root")));
    struct Node {
        Reference id;
        Dictionary inherited;
    };
    qint64 scanned = 0;
    QList<Node> open{{referenceOf(catalogue.entries.value("Pages")), {}}};
    for (int visited = 0; !open.isEmpty() && visited < mostNodes; ++visited) {
        const Node node = open.takeLast();
        Page found = object(node.id);
        scanned += found.text.size();
        if (scanned > 4 * m_bytes.size()) {
            refuse("its tree of pages is no tree"); // nor are objects within each other read again and again
        }
        Dictionary inherited = node.inherited;
        for (const char* key : {"MediaBox", "CropBox", "Rotate"}) {
            if (found.entries.contains(key)) {
                inherited.insert(key, found.entries.value(key));
            }
        }
        if (!found.entries.contains("Kids")) {
            if (index-- == 0) {
                found.entries.insert(inherited);
                return found;
            }
            continue;
        }
        Tokens kids(found.entries.value("Kids"), 0);
        if (kids.next() != "[") {
            refuse("its tree of pages is damaged");
        }
        QList<Node> children;
        while (kids.peek() != "]") {
            children.append({referenceOf(kids.value()), inherited});
        }
        if (open.size() + children.size() > mostNodes) {
            refuse("it has too many pages");
        }
        std::reverse(children.begin(), children.end());
        open += children;
    }
    refuse("it has no such page");
}

QList<double> PdfFile::numbersOf(QByteArrayView array) {
    Tokens tokens(array, 0);
    QList<double> numbers;
    if (tokens.next() != "[") {
        return {};
    }
    for (QByteArrayView token = tokens.next(); token != "]"; token = tokens.next()) {
        bool isNumber = false;
        numbers.append(token.toByteArray().toDouble(&isNumber));
        if (!isNumber) {
            return {};
        }
    }
    return numbers;
}

} // namespace Cartolith::Map::Output::Internal
