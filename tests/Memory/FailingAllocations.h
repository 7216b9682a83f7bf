#pragma once

#include <vector>

/// Memory that runs out at the n-th request of the library under test, or of Qt on its behalf. The program that links
/// FailingAllocations.cpp has its malloc() replaced; what GDAL and SQLite ask for is always given, since GDAL ends the
/// process where it finds no memory.
namespace test {

/// From now on, the nth request fails (from 1), and those after it do not. 0: none does. Starts counting.
void failAllocation(long nth);
/// No request fails any more; how many there were since.
long stopFailing();
/// Of the requests counted last while none failed, those that came from where no request before had come from: as the
/// stack of calls says, of which a loop has one.
std::vector<long> requestsOfNewStacks();
/// Whether it was Qt that asked last when a request failed.
bool hasFailedInQt();
/// Blocks that are allocated in the whole process and not freed.
long liveBlocks();

} // namespace test
