#pragma once

#include <Cartolith/Core/Shapes/GisShape.h>

#include <QList>

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace Cartolith::Core::Spatial::RTree {

/// Appends hits to a list of shapes or of their ids through a plain pointer, which spares a call and a check
/// of sharing for each of them. The list has its true length again when the writer is gone.
template <typename Result>
class ResultWriter {
public:
    explicit ResultWriter(QList<Result>& results) : m_results(results), m_used(results.size()) {}
    ResultWriter(const ResultWriter&) = delete;
    ResultWriter& operator=(const ResultWriter&) = delete;
    ~ResultWriter() { m_results.resize(m_used); }

    /// Room for so many results at the end; commit() says where the last one written ends.
    Result* room(qsizetype count) {
        if (m_results.size() - m_used < count) {
            // Some more than asked for, to come here rarely, but nothing that would allocate needlessly.
            const qsizetype needed = m_used + count;
            m_results.resize(std::max(needed, std::min(m_results.capacity(), needed + 32 + m_used / 2)));
        }
        return m_results.data() + m_used;
    }
    void commit(const Result* end) { m_used = end - m_results.constData(); }

    static Result convert(Shapes::GisShape* shape) {
        if constexpr (std::is_same_v<Result, int>) {
            return shape->id();
        } else {
            return shape;
        }
    }

    void append(Shapes::GisShape* shape) {
        Result* const out = room(1);
        *out = convert(shape);
        commit(out + 1);
    }
    void append(Shapes::GisShape* const* shapes, std::size_t count) {
        Result* const out = room(static_cast<qsizetype>(count));
        commit(std::transform(shapes, shapes + count, out, &convert));
    }

private:
    QList<Result>& m_results;
    qsizetype m_used;
};

} // namespace Cartolith::Core::Spatial::RTree
