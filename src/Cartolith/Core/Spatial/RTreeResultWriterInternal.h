#pragma once

#include <QList>

#include <algorithm>

namespace Cartolith::Core::Shapes {
class GisShape;
}

namespace Cartolith::Core::Spatial::RTree {

/// Appends hits to a list through a plain pointer, which spares a call and a check of sharing for each of
/// them. The list has its true length again when the writer is gone: with the hits when it was finished, else
/// as it was before.
class ResultWriter {
public:
    explicit ResultWriter(QList<Shapes::GisShape*>& results)
        : m_results(results), m_before(results.size()), m_used(m_before) {}
    ResultWriter(const ResultWriter&) = delete;
    ResultWriter& operator=(const ResultWriter&) = delete;
    ~ResultWriter() {
        if (const qsizetype size = m_isFinished ? m_used : m_before; size != m_results.size()) {
            m_results.resize(size);
        }
    }
    void finish() noexcept { m_isFinished = true; }

    /// Room for so many results at the end; commit() says where the last one written ends.
    Shapes::GisShape** room(std::size_t count) {
        const qsizetype needed = m_used + static_cast<qsizetype>(count);
        if (m_results.size() < needed) {
            // Some more than asked for, to come here rarely, but nothing that would allocate needlessly, and
            // in proportion to this search alone: the list may hold the results of many others.
            const qsizetype more = 32 + (m_used - m_before) / 2;
            m_results.resize(std::max(needed, std::min(m_results.capacity(), needed + more)));
        }
        return m_results.data() + m_used;
    }
    void commit(Shapes::GisShape* const* end) { m_used = end - m_results.constData(); }

    void append(Shapes::GisShape* shape) { append(&shape, 1); }
    void append(Shapes::GisShape* const* shapes, std::size_t count) {
        commit(std::copy_n(shapes, count, room(count)));
    }

private:
    QList<Shapes::GisShape*>& m_results;
    qsizetype m_before;
    qsizetype m_used;
    bool m_isFinished = false;
};

} // namespace Cartolith::Core::Spatial::RTree
