#pragma once

#include "vorn_sync_large_vector.h"

#include <QHash>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// Names by number and numbers by name, in UTF-8. A million names are some hundred blocks, which go back to the system
// when they are done with, and not a million small ones. A value, used on one thread.
class VornSyncNameTable
{
public:
    void append(std::string_view name)
    {
        if (m_blocks.empty() || m_blocks.back().size() + name.size() >= kBlockBytes) {
            m_blocks.emplace_back();
            m_blocks.back().reserve(std::max(kBlockBytes, name.size() + 1));
        }
        std::string& block = m_blocks.back();
        VornSyncLargeVector::append(m_begins, (m_blocks.size() - 1) * kBlockBytes + block.size());
        block.append(name);
        block.push_back('\0');
    }

    int count() const { return int(m_begins.size()); }
    // Valid until the next name is appended; a NUL stands behind it.
    std::string_view at(int number) const
    {
        const std::size_t begin = m_begins[std::size_t(number)];
        const std::string& block = m_blocks[begin / kBlockBytes];
        const bool isLast =
            number + 1 == count() || m_begins[std::size_t(number) + 1] / kBlockBytes != begin / kBlockBytes;
        const std::size_t place = begin % kBlockBytes;
        const std::size_t end = isLast ? block.size() : m_begins[std::size_t(number) + 1] % kBlockBytes;
        return std::string_view(block.data() + place, end - place - 1);
    }

    // The names are complete: none that is appended from here on will be found.
    void freeze() { m_indexedCount = count(); }
    // The next find() is for the first name, if the order is kept.
    void startOver() { m_next = 0; }

    // The number of that name among those before freeze(), -1 when there is none. Who asks in the order in which the
    // names were appended is answered at once; the index is made for the first who does not.
    int find(std::string_view name)
    {
        if (m_next < m_indexedCount && at(m_next) == name)
            return m_next++;
        if (m_slots.empty())
            makeIndex();
        const uint hash = hashOf(name);
        for (std::size_t slot = start(hash); m_slots[slot].number >= 0; slot = next(slot)) {
            if (m_slots[slot].hash == hash && at(m_slots[slot].number) == name) {
                m_next = m_slots[slot].number + 1;
                return m_slots[slot].number;
            }
        }
        return -1;
    }

private:
    // Small enough for the allocator to give them back when a pass is over; of a single text of some MiB it keeps as much
    // for the next.
    static constexpr std::size_t kBlockBytes = std::size_t(64) * 1024;

    // Eight bytes a name: those of 100,000 files fit a processor's cache.
    struct Slot
    {
        uint hash = 0;
        int number = -1;
    };

    void makeIndex()
    {
        std::size_t slotCount = 16;
        while (slotCount < 2 * std::size_t(m_indexedCount))
            slotCount *= 2;
        VornSyncLargeVector::reserve(m_slots, slotCount);
        m_slots.resize(slotCount);
        for (int number = 0; number < m_indexedCount; ++number) {
            const uint hash = hashOf(at(number));
            std::size_t slot = start(hash);
            while (m_slots[slot].number >= 0)
                slot = next(slot);
            m_slots[slot] = {hash, number};
        }
    }
    uint hashOf(std::string_view name) const { return uint(qHashBits(name.data(), name.size(), m_seed)); }
    std::size_t start(uint hash) const { return hash & (m_slots.size() - 1); }
    std::size_t next(std::size_t slot) const { return (slot + 1) & (m_slots.size() - 1); }

    std::vector<std::string> m_blocks; // each filled up to kBlockBytes, unless a single name is longer
    std::vector<std::size_t> m_begins; // block * kBlockBytes + place in it
    int m_indexedCount = 0;
    int m_next = 0; // what will be asked for, if the order is kept
    // A power of two of them, at most half in use; none before the first who needs them.
    std::vector<Slot> m_slots;
    uint m_seed = uint(qGlobalQHashSeed());
};
