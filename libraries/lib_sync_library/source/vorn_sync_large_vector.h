#pragma once

#include <cstddef>
#include <vector>

// For vectors that are as large as a directory and go with the pass that needed them. The C library gives blocks of more than
// 32 MiB back to the system at once; of smaller ones it keeps up to twice the largest that it ever got back. What a vector
// reserves and does not use costs addresses, no memory.
namespace VornSyncLargeVector {

constexpr std::size_t kLargeBytes = std::size_t(512) * 1024;
constexpr std::size_t kGivenBackBytes = std::size_t(33) * 1024 * 1024;

template<typename Value> void reserve(std::vector<Value>& values, std::size_t size)
{
    const std::size_t bytes = size * sizeof(Value);
    values.reserve(bytes < kLargeBytes || bytes > kGivenBackBytes ? size : kGivenBackBytes / sizeof(Value));
}

template<typename Value> void append(std::vector<Value>& values, const Value& value)
{
    if (values.size() == values.capacity())
        reserve(values, 2 * values.size() + 1);
    values.push_back(value);
}

} // namespace VornSyncLargeVector
