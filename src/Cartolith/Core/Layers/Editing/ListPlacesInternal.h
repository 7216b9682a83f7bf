#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

/// Several elements of a list at once, each in a time that does not depend on how many others there are.
namespace Cartolith::Core::Layers::Internal {

/// Where the elements are in a list of so many, of which each is given by its position once those before it
/// are out; only of those before the first position that is not in the list then.
std::vector<int> positionsOfTaken(int count, const std::vector<int>& inTurn);

/// Takes out what is at these rising positions.
template <typename Element>
void eraseAt(std::vector<Element>& list, const std::vector<int>& positions) {
    auto position = positions.begin();
    std::size_t to = position != positions.end() ? static_cast<std::size_t>(*position) : list.size();
    for (std::size_t from = to; from < list.size(); ++from) {
        if (position != positions.end() && from == static_cast<std::size_t>(*position)) {
            ++position;
        } else {
            list[to++] = std::move(list[from]);
        }
    }
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(to), list.end());
}

/// Puts elements in so that they are at these rising positions; the function gives the one with that number.
/// Needs no memory where the list has room.
template <typename Element, typename Function>
void insertAt(std::vector<Element>& list, const std::vector<int>& positions, const Function& element) {
    std::size_t from = list.size();
    list.resize(list.size() + positions.size());
    std::size_t to = list.size();
    for (std::size_t i = positions.size(); i-- > 0;) {
        const auto position = static_cast<std::size_t>(positions[i]);
        while (to - 1 > position) {
            list[--to] = std::move(list[--from]);
        }
        list[--to] = element(i);
    }
}

} // namespace Cartolith::Core::Layers::Internal
