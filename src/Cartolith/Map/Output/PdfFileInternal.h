#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QString>

#include <optional>

namespace Cartolith::Map::Output::Internal {

/// As much of a PDF as is needed to add something to a page: the cross-reference table, dictionaries, the
/// tree of pages. Everything it says is of the newest revision; texts are views of the file.
///
/// The file may be anybody's: every step is bounded by its size, nothing recurses. What this does not read
/// (encrypted files, cross-references as streams) is refused.
class PdfFile {
public:
    using Dictionary = QHash<QByteArray, QByteArrayView>;

    struct Reference {
        qint64 number = 0;
        qint64 generation = 0;
    };
    struct Page {
        Reference id;
        QByteArrayView text; ///< of its dictionary, with the brackets
        Dictionary entries;  ///< with what it inherits of MediaBox, CropBox and Rotate
    };

    /// The bytes outlive this. \throws std::runtime_error "this PDF cannot be extended: ..."
    explicit PdfFile(QByteArrayView bytes);

    const Dictionary& trailer() const { return m_trailer; }
    qint64 tableOffset() const { return m_tableOffset; }
    /// One more than the highest number of an object.
    qint64 objectCount() const { return m_objectCount; }

    /// Where objects begin, by number; -1 for those that are no more.
    const QHash<qint64, qint64>& offsets() const { return m_offsets; }
    /// What "9 0 R" names. \throws std::runtime_error as above
    static Reference referenceOf(QByteArrayView text);

    /// Counted from 0. \throws std::runtime_error as above when there is no such page
    Page page(int index) const;

    /// The numbers of an array. Empty for anything else.
    static QList<double> numbersOf(QByteArrayView array);

private:
    void readTable(qint64 offset, bool isNewest);
    Page object(const Reference& id) const;

    QByteArrayView m_bytes;
    QHash<qint64, qint64> m_offsets;
    Dictionary m_trailer;
    qint64 m_tableOffset = 0;
    qint64 m_previous = -1;
    qint64 m_objectCount = 0;
};

} // namespace Cartolith::Map::Output::Internal
