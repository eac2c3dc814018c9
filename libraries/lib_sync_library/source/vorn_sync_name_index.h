#pragma once

#include <QHash>
#include <QString>
#include <QVector>

// Finds the number of an item by its name. Names stay with their owner: a slot holds eight bytes, so that the
// index of 100,000 files fits a processor's cache, where a QHash would allocate a node a name. Filled once, to a
// size that is known before. A value, used on one thread.
class VornSyncNameIndex
{
public:
    // Room for `count` names; empties the index.
    void reset(int count)
    {
        int slotCount = 16;
        while (slotCount < 2 * count)
            slotCount *= 2;
        m_slots = QVector<Slot>(slotCount);
    }

    void insert(const QString& name, int item)
    {
        const uint hash = qHash(name, m_seed);
        int position = start(hash);
        while (m_slots.at(position).item >= 0)
            position = next(position);
        m_slots[position] = {hash, item};
    }

    // The item of that name, -1 when there is none; `nameOf(item)` gives the name of an item.
    template<typename NameOf> int find(const QString& name, const NameOf& nameOf) const
    {
        if (m_slots.isEmpty())
            return -1;
        const uint hash = qHash(name, m_seed);
        for (int position = start(hash); m_slots.at(position).item >= 0; position = next(position)) {
            const Slot& slot = m_slots.at(position);
            if (slot.hash == hash && nameOf(slot.item) == name)
                return slot.item;
        }
        return -1;
    }

private:
    struct Slot
    {
        uint hash = 0;
        int item = -1;
    };

    int start(uint hash) const { return int(hash & uint(m_slots.size() - 1)); }
    int next(int position) const { return (position + 1) & (m_slots.size() - 1); }

    QVector<Slot> m_slots; // a power of two of them, at most half in use
    uint m_seed = uint(qGlobalQHashSeed());
};
