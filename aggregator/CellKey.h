// A cell key: one category cell index per dimension of a cube, with its hash
// cached so that lookups compare hashes before entries.
#ifndef KVAGGR_CELLKEY_H
#define KVAGGR_CELLKEY_H

#include <cstddef>
#include <cstdint>

#include "KvAssert.h"

class CellKey {
public:
    // Odd primes from 3 to 229: entry i of a key is weighted by PRIME_FACTOR[i % 49].
    static const int PRIME_FACTOR[49];
    // Lifts the lowest subtotal index (-10001) to 0, so that every valid
    // entry contributes a non-negative product.
    static const int ADD_LOWER_BOUND = 10001;

    CellKey() : ar(nullptr), arLength(0), hashCode(0) {}
    // The caller fills the entries and then calls UpdateHashCode(); the hash
    // computed here covers zeroed entries and is not to be relied on.
    explicit CellKey(int length) : ar(length > 0 ? new int[length]() : nullptr), arLength(length), hashCode(0)
    {
        UpdateHashCode();
    }
    CellKey(const CellKey& other)
        : ar(other.arLength > 0 ? new int[other.arLength] : nullptr), arLength(other.arLength),
          hashCode(other.hashCode)
    {
        for (int i = 0; i < arLength; ++i) ar[i] = other.ar[i];
    }
    CellKey& operator=(const CellKey& other)
    {
        if (this == &other) return *this;
        if (arLength != other.arLength) {
            delete[] ar;
            ar = other.arLength > 0 ? new int[other.arLength] : nullptr;
            arLength = other.arLength;
        }
        for (int i = 0; i < arLength; ++i) ar[i] = other.ar[i];
        hashCode = other.hashCode;  // copied, not recomputed
        return *this;
    }
    ~CellKey() { delete[] ar; }

    int& operator[](int i)
    {
        KV_ASSERT(0 <= i && i < arLength);
        return ar[i];
    }
    const int& operator[](int i) const
    {
        KV_ASSERT(0 <= i && i < arLength);
        return ar[i];
    }

    std::size_t length() const { return static_cast<std::size_t>(arLength); }
    // The entries, length() of them, for loops that check their bounds once.
    const int* entries() const { return ar; }
    int GetHashCode() const { return hashCode; }
    void UpdateHashCode() { hashCode = cellKeyHash(); }

    // XOR over the entries of (entry + 10001) * PRIME_FACTOR[i % 49], each
    // product in wrapping unsigned 32-bit arithmetic. For entries up to
    // 9,367,656 every product stays below 2^31, so the hash is non-negative.
    int cellKeyHash() const
    {
        uint32_t h = 0;
        for (int i = 0; i < arLength; ++i)
            h ^= static_cast<uint32_t>(ar[i] + ADD_LOWER_BOUND) * static_cast<uint32_t>(PRIME_FACTOR[i % 49]);
        return static_cast<int>(h);
    }

    // Same hash, same length, same entries.
    bool Equals(const CellKey& other) const
    {
        if (hashCode != other.hashCode || arLength != other.arLength) return false;
        for (int i = 0; i < arLength; ++i)
            if (ar[i] != other.ar[i]) return false;
        return true;
    }

    // Writes "\t Key: " and "  %d" per entry as one line to the debug output.
    void display() const;

    friend bool operator<(const CellKey& a, const CellKey& b);

private:
    int* ar;
    int arLength;
    int hashCode;
};

// A shorter key orders first; keys of equal length compare entry by entry.
inline bool operator<(const CellKey& a, const CellKey& b)
{
    if (a.arLength != b.arLength) return a.arLength < b.arLength;
    for (int i = 0; i < a.arLength; ++i)
        if (a.ar[i] != b.ar[i]) return a.ar[i] < b.ar[i];
    return false;
}

#endif
