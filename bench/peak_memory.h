#pragma once
// The process's resident memory high-water mark, in bytes; 0 when unknown.
// It only ever grows, so a reading after a larger run that equals the one
// after a smaller run shows that the memory did not grow with the size.
#include <cstdint>

std::uint64_t PeakResidentBytes();
