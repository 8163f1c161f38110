// The per-dimension value dictionary: maps a case value (the OBS words of one
// variable's width) to a fixed number of doubles. It sits on the per-case path:
// a lookup of a value already present allocates nothing and touches one slot
// array (numeric keys are compared inside the slot; string keys first by a
// 64-bit hash kept in the slot, then byte for byte).
#ifndef KVHOST_OBSVECMAP_H
#define KVHOST_OBSVECMAP_H

#include <cstdint>
#include <vector>

#include "OBS.h"
#include "VESK_DataSource.h"

// The shape of a key: its value type (0 numeric, n a string of n bytes) and words.
struct ObsKeySpec {
    int valueType = 0;
    int words = 1;
};

class ObsVecMap {
public:
    // The key shape of a single variable.
    static ObsKeySpec MakeKeySpec(const VESK_DataSource& dataSource, int varIndex);

    ObsVecMap(const ObsKeySpec& keySpec, int numValues);

    // The doubles of `key`, or null when absent. Numeric keys compare as
    // numbers (0.0 equals -0.0); string keys compare all their bytes.
    double* Contains(const OBS* key);
    const double* Contains(const OBS* key) const;
    // Inserts `key` with its doubles zero-filled and returns them; returns the
    // existing doubles when the key is already present. Pointers returned by
    // Contains, Insert and Value stay valid until the next Insert of a new key
    // or Clear.
    double* Insert(const OBS* key);
    int Size() const { return _size; }
    // Puts the entries into ObsLexCompare order of their keys; Key and Value
    // index that order until the next insertion (before any Sort: insertion order).
    void Sort();
    const OBS* Key(int i) const;
    double* Value(int i);
    const double* Value(int i) const;
    // Drops every entry; the capacity is kept for the next fill.
    void Clear();

    const ObsKeySpec& GetKeySpec() const { return _spec; }
    int GetNumValues() const { return _numValues; }

private:
    struct Slot {
        uint64_t tag;   // numeric: the key's bits (-0.0 folded to 0.0); string: its hash
        int32_t entry;  // entry index + 1; 0 for an empty slot
    };
    uint64_t Tag(const OBS* key) const;
    size_t Home(uint64_t tag) const;
    // The entry of `key`, or -(free slot index) - 1 when absent.
    int64_t Find(const OBS* key, uint64_t tag) const;
    void Grow();

    ObsKeySpec _spec;
    int _numValues;
    int _size = 0;
    std::vector<OBS> _keys;            // _spec.words per entry, entry order
    std::vector<double> _values;       // _numValues per entry, entry order
    std::vector<Slot> _slots;          // open addressing, linear probing, a power of two
    int _shift = 60;                   // 64 - log2(_slots.size())
    std::vector<int32_t> _order;       // sorted entry order, valid when _sorted
    bool _sorted = false;
};

#endif
