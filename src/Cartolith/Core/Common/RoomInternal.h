#pragma once

#include <QList>

#include <algorithm>
#include <new>

namespace Cartolith::Core::Common::Internal {

/// Makes room for so many more elements at the end, in a list that shares its memory with no other one: after
/// it elements can be changed, appended and removed without anything that could fail. Without memory the list
/// is as it was; QList itself, where it parts from a copy, does not look whether it got any.
template <typename T>
void makeRoom(QList<T>& list, qsizetype more = 0) {
    const qsizetype needed = list.size() + more;
    if (needed == 0 || (list.isDetached() && list.capacity() >= needed)) {
        return;
    }
    QList<T> larger;
    larger.reserve(more > 0 ? std::max(needed, list.size() + list.size() / 2) : needed);
    if (larger.capacity() < needed) {
        throw std::bad_alloc();
    }
    larger.append(list);
    list.swap(larger);
}

} // namespace Cartolith::Core::Common::Internal
