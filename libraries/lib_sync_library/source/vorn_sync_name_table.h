#pragma once

#include <QHash>
#include <QString>
#include <QStringView>

#include <vector>

// Names by number and numbers by name. All characters stand in one text, so that a million names are a few large
// blocks, which go back to the system when they are done with, and not a million small ones. A value, used on one
// thread.
class VornSyncNameTable
{
public:
    void append(QStringView name)
    {
        m_begins.push_back(int(m_characters.size()));
        m_characters.append(name.data(), int(name.size()));
    }

    int count() const { return int(m_begins.size()); }
    // Valid until the next name is appended.
    QStringView at(int number) const
    {
        const int begin = m_begins[std::size_t(number)];
        const int end = number + 1 < count() ? m_begins[std::size_t(number) + 1] : int(m_characters.size());
        return QStringView(m_characters).mid(begin, end - begin);
    }

    // The names are complete: none that is appended from here on will be found.
    void freeze() { m_indexedCount = count(); }
    // The next find() is for the first name, if the order is kept.
    void startOver() { m_next = 0; }

    // The number of that name among those before freeze(), -1 when there is none. Who asks in the order in which the
    // names were appended is answered at once; the index is made for the first who does not.
    int find(QStringView name)
    {
        if (m_next < m_indexedCount && at(m_next) == name)
            return m_next++;
        if (m_slots.empty())
            makeIndex();
        const uint hash = uint(qHash(name, m_seed));
        for (std::size_t slot = start(hash); m_slots[slot].number >= 0; slot = next(slot)) {
            if (m_slots[slot].hash == hash && at(m_slots[slot].number) == name) {
                m_next = m_slots[slot].number + 1;
                return m_slots[slot].number;
            }
        }
        return -1;
    }

private:
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
        m_slots.resize(slotCount);
        for (int number = 0; number < m_indexedCount; ++number) {
            const uint hash = uint(qHash(at(number), m_seed));
            std::size_t slot = start(hash);
            while (m_slots[slot].number >= 0)
                slot = next(slot);
            m_slots[slot] = {hash, number};
        }
    }
    std::size_t start(uint hash) const { return hash & (m_slots.size() - 1); }
    std::size_t next(std::size_t slot) const { return (slot + 1) & (m_slots.size() - 1); }

    QString m_characters;
    std::vector<int> m_begins;
    int m_indexedCount = 0;
    int m_next = 0; // what will be asked for, if the order is kept
    // A power of two of them, at most half in use; none before the first who needs them.
    std::vector<Slot> m_slots;
    uint m_seed = uint(qGlobalQHashSeed());
};
