// The per-dimension value dictionary: maps a case value (the OBS words of one
// variable's width) to a fixed number of doubles. It sits on the per-case path:
// a lookup of a value already present allocates nothing.
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
    // existing doubles when the key is already present.
    double* Insert(const OBS* key);
    int Size() const { return _size; }
    // Puts the entries into ObsLexCompare order of their keys; Key and Value
    // index that order until the next insertion (before any Sort: insertion order).
    void Sort();
    const OBS* Key(int i) const;
    double* Value(int i);
    const double* Value(int i) const;
    void Clear();

    const ObsKeySpec& GetKeySpec() const { return _spec; }
    int GetNumValues() const { return _numValues; }

private:
    uint64_t Hash(const OBS* key) const;
    bool KeyEquals(const OBS* a, const OBS* b) const;
    int FindSlot(const OBS* key, uint64_t hash) const;
    void Grow();

    ObsKeySpec _spec;
    int _numValues;
    int _size = 0;
    std::vector<OBS> _keys;            // _spec.words per entry, entry order
    std::vector<double> _values;       // _numValues per entry, entry order
    std::vector<int32_t> _slots;       // open addressing: entry index + 1, 0 empty
    std::vector<int32_t> _order;       // sorted entry order, valid when _sorted
    bool _sorted = false;
};

#endif
