#pragma once

#include "kep/graph_building/kep_template_entries.h"

#include <tbb/spin_mutex.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

/// Templates while they are found: each distinct list of entries once, under a number. Any number of threads
/// may add at a time; numbers then depend on who came first and are given anew in the end.
template <class ENTRY>
class KEP_TEMPLATE_TABLE {
public:
  struct LIST {
    const ENTRY* m_entries;
    std::uint16_t m_num_real;
    std::uint16_t m_num_edges;
  };

  /// What a thread added last, so that it need not wait for others to learn the number of a list that comes
  /// again; and where it puts the entries of new ones, so that those that are read one after the other later
  /// stand side by side. One object may go from table to table.
  class RECENT {
    friend class KEP_TEMPLATE_TABLE;
    struct ENTRY_OF_HASH {
      std::uint64_t m_hash = 0;
      LIST m_list{nullptr, 0, 0};
      std::uint32_t m_number = 0;
    };
    static constexpr std::size_t SIZE = 1024;
    std::uint64_t m_table = 0;
    std::vector<ENTRY_OF_HASH> m_entries;
    ENTRY* m_free = nullptr; // in the table's last chunk of this object
    std::size_t m_num_free = 0;
    std::size_t m_chunk = 0;
  };

  /// The number of the list, which is copied if it is new. It must not be empty.
  std::uint32_t add(const LIST& list, RECENT& recent) {
    if (recent.m_table != m_id) {
      recent = {};
      recent.m_entries.resize(RECENT::SIZE);
      recent.m_table = m_id;
    }
    const std::uint64_t hash = make_hash(list);
    auto& entry = recent.m_entries[hash / NUM_SHARDS % RECENT::SIZE];
    if (entry.m_hash == hash && is_equal(entry.m_list, list)) return entry.m_number;
    const auto shard = static_cast<std::uint32_t>(hash % NUM_SHARDS);
    if (recent.m_num_free < list.m_num_edges) add_chunk(recent, list.m_num_edges);
    const auto [known, number] =
        m_shards[shard].add(list, static_cast<std::uint32_t>(hash >> 32), recent.m_free);
    if (known.m_entries == recent.m_free) {
      recent.m_free += list.m_num_edges;
      recent.m_num_free -= list.m_num_edges;
    }
    entry = {hash, known, number * NUM_SHARDS + shard};
    return entry.m_number;
  }
  /// Some list has the number.
  bool has(std::uint32_t number) const {
    return number / NUM_SHARDS < m_shards[number % NUM_SHARDS].m_lists.size();
  }
  // Not while templates are added.
  const LIST& get(std::uint32_t number) const {
    return m_shards[number % NUM_SHARDS].m_lists[number / NUM_SHARDS];
  }
  /// Gives the memory back. Nothing is added behind that.
  void clear() {
    for (SHARD& shard : m_shards) {
      std::vector<SLOT>().swap(shard.m_slots);
      std::vector<LIST>().swap(shard.m_lists);
    }
    std::vector<std::unique_ptr<ENTRY[]>>().swap(m_chunks);
  }
  std::uint32_t size() const {
    std::size_t size = 0;
    for (const SHARD& shard : m_shards)
      size += shard.m_lists.size();
    return static_cast<std::uint32_t>(size);
  }
  /// Numbers are below this.
  std::uint32_t get_number_limit() const {
    std::size_t largest = 0;
    for (const SHARD& shard : m_shards)
      largest = std::max(largest, shard.m_lists.size());
    return static_cast<std::uint32_t>(largest * NUM_SHARDS);
  }

private:
  static constexpr std::uint32_t NUM_SHARDS = 64;
  static constexpr std::size_t MIN_CHUNK = 64; // entries
  static constexpr std::size_t MAX_CHUNK = 4096;

  /// The hash stands beside the number, so that other lists need not be looked at.
  struct SLOT {
    std::uint32_t m_hash = 0;
    std::uint32_t m_number = 0; // of the list in the shard, plus one; 0 for none
  };
  struct alignas(64) SHARD {
    /// A new list is copied to `room`.
    std::pair<LIST, std::uint32_t> add(const LIST& list, std::uint32_t hash, ENTRY* room) {
      const tbb::spin_mutex::scoped_lock lock(m_mutex);
      if (m_lists.size() * 4 >= m_slots.size() * 3) grow();
      SLOT* slot = m_slots.data() +
                   find(hash, [&](std::uint32_t number) { return is_equal(m_lists[number - 1], list); });
      if (slot->m_number == 0) {
        std::copy_n(list.m_entries, list.m_num_edges, room);
        m_lists.push_back({room, list.m_num_real, list.m_num_edges});
        *slot = {hash, static_cast<std::uint32_t>(m_lists.size())};
      }
      return {m_lists[slot->m_number - 1], slot->m_number - 1};
    }
    void grow() {
      std::vector<SLOT> slots(std::max<std::size_t>(64, m_slots.size() * 2));
      slots.swap(m_slots);
      for (const SLOT& slot : slots)
        if (slot.m_number != 0) m_slots[find(slot.m_hash, [](std::uint32_t) { return false; })] = slot;
    }
    /// The slot of the list of that hash which is the one, or an empty one.
    template <class IS_IT>
    std::size_t find(std::uint32_t hash, const IS_IT& is_it) const {
      const std::size_t mask = m_slots.size() - 1;
      std::size_t slot = hash & mask;
      while (m_slots[slot].m_number != 0 && !(m_slots[slot].m_hash == hash && is_it(m_slots[slot].m_number)))
        slot = (slot + 1) & mask;
      return slot;
    }

    tbb::spin_mutex m_mutex;
    std::vector<SLOT> m_slots; // found by hash
    std::vector<LIST> m_lists;
  };

  /// Of at least so many entries; an object that adds much gets larger ones.
  void add_chunk(RECENT& recent, std::size_t count) {
    recent.m_chunk = std::clamp(recent.m_chunk * 2, MIN_CHUNK, MAX_CHUNK);
    recent.m_num_free = std::max(count, recent.m_chunk);
    auto chunk = std::make_unique_for_overwrite<ENTRY[]>(recent.m_num_free);
    recent.m_free = chunk.get();
    const tbb::spin_mutex::scoped_lock lock(m_mutex);
    m_chunks.push_back(std::move(chunk));
  }

  static bool is_equal(const LIST& left, const LIST& right) {
    return left.m_num_edges == right.m_num_edges && left.m_num_real == right.m_num_real &&
           std::memcmp(left.m_entries, right.m_entries, left.m_num_edges * sizeof(ENTRY)) == 0;
  }
  static std::uint64_t make_id() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
  }
  /// Two lanes, since a step waits for the one before.
  static std::uint64_t make_hash(const LIST& list) {
    std::uint64_t even = std::uint64_t{list.m_num_real} << 16 | list.m_num_edges;
    std::uint64_t odd = KEP_TEMPLATE_HASH::SEED;
    std::size_t i = 0;
    for (; i + 1 < list.m_num_edges; i += 2) {
      even = list.m_entries[i].hash(even);
      odd = list.m_entries[i + 1].hash(odd);
    }
    if (i != list.m_num_edges) even = list.m_entries[i].hash(even);
    return KEP_TEMPLATE_HASH::mix(even, odd);
  }

  const std::uint64_t m_id = make_id(); // no other table has it
  std::array<SHARD, NUM_SHARDS> m_shards;
  tbb::spin_mutex m_mutex; // of what follows
  std::vector<std::unique_ptr<ENTRY[]>> m_chunks;
};
