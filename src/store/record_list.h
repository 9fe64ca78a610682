// The list behind each kind of record of the store: shared-owned records in the order of their insertion,
// each with an id and a group, found by either without going through the others. It has no lock of its own.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

template <typename Record>
class RecordList
{
public:
    using Pointer = std::shared_ptr<Record>;

    // Puts a record at the end. Ids are never used twice. When memory is short, nothing has changed.
    void Append(uint32_t id, uint32_t group, Pointer record)
    {
        const uint64_t position = nextPosition++;
        records.emplace(position, Entry{id, group, std::move(record)});
        try {
            groups[group].insert(position);
            positions.emplace(id, position);
        } catch (...) {
            Forget(id, group, position);
            throw;
        }
    }

    // The record with this id, or null.
    Pointer Find(uint32_t id) const
    {
        const auto found = positions.find(id);
        return found == positions.end() ? nullptr : records.at(found->second).record;
    }

    // Takes the record with this id out of the list; null when there is none. The caller releases
    // it when it holds no lock, since the end of a record may call the card.
    Pointer Take(uint32_t id)
    {
        const auto found = positions.find(id);
        return found == positions.end() ? nullptr : TakeAt(found->second);
    }

    // Takes all records of a group out of the list, in order.
    std::vector<Pointer> TakeGroup(uint32_t group)
    {
        std::vector<Pointer> taken;
        const auto found = groups.find(group);
        if (found != groups.end()) {
            const auto members = found->second;
            taken.reserve(members.size()); // nothing may fail once the first is out
            for (const uint64_t position : members) {
                taken.push_back(TakeAt(position));
            }
        }
        return taken;
    }

    // Takes everything out of the list, in order.
    std::vector<Pointer> TakeAll()
    {
        std::vector<Pointer> taken = All();
        records.clear();
        positions = decltype(positions)(); // without the buckets that clear() keeps
        groups.clear();
        return taken;
    }

    // All records, or those of a group, in order.
    std::vector<Pointer> All() const
    {
        std::vector<Pointer> all;
        all.reserve(records.size());
        for (const auto& [position, entry] : records) {
            all.push_back(entry.record);
        }
        return all;
    }

    std::vector<Pointer> OfGroup(uint32_t group) const
    {
        std::vector<Pointer> members;
        const auto found = groups.find(group);
        if (found != groups.end()) {
            for (const uint64_t position : found->second) {
                members.push_back(records.at(position).record);
            }
        }
        return members;
    }

    // The ids of a group, in order.
    std::vector<uint32_t> IdsOfGroup(uint32_t group) const
    {
        std::vector<uint32_t> ids;
        const auto found = groups.find(group);
        if (found != groups.end()) {
            for (const uint64_t position : found->second) {
                ids.push_back(records.at(position).id);
            }
        }
        return ids;
    }

    bool HasGroup(uint32_t group) const { return groups.find(group) != groups.end(); }

private:
    struct Entry
    {
        uint32_t id;
        uint32_t group;
        Pointer record;
    };

    Pointer TakeAt(uint64_t position)
    {
        Entry entry = std::move(records.at(position));
        Forget(entry.id, entry.group, position);
        return std::move(entry.record);
    }

    // Whatever there is of the record at this position.
    void Forget(uint32_t id, uint32_t group, uint64_t position)
    {
        records.erase(position);
        positions.erase(id);
        const auto found = groups.find(group);
        if (found == groups.end()) {
            return;
        }
        found->second.erase(position);
        if (found->second.empty()) {
            groups.erase(found);
        }
    }

    uint64_t nextPosition = 0;
    std::map<uint64_t, Entry> records; // by position, so in order of insertion
    std::unordered_map<uint32_t, uint64_t> positions;
    std::map<uint32_t, std::set<uint64_t>> groups;
};
