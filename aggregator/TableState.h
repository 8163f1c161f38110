// The bytes of a table's state: what a partial table sends to the one that
// merges it, between threads, processes or machines.
//
// Layout (integers and doubles in the writer's byte order, which the header
// records; version 1):
//   "KVAGGRST"  magic, 8 bytes
//   u32         version
//   u32         byte-order mark 0x01020304 as written
//   u64         fingerprint of the request, given by the caller
//   u64         shape of the table (dimensions, cubes, cell layouts), from the engine
//   u64         length of the body in bytes
//   u64         checksum of the body (64-bit FNV-1a)
//   body        dimensions, scale-value counts, then every aggregator's cells
// The body is the engine's to write and read (AggregationTable, TableDimension,
// CubeAggregator, CellValues each write their own part beside their merge).
//
// Reading never trusts the bytes: every length is checked against what is
// left before anything is read, so a truncated or damaged blob ends in a
// message, never in a read past the end. The checksum catches damage that
// the lengths alone would not (a flipped bit in a weight).
#ifndef KVAGGR_TABLESTATE_H
#define KVAGGR_TABLESTATE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class StateWriter {
public:
    void PutU8(std::uint8_t v) { _bytes.push_back(static_cast<char>(v)); }
    void PutU32(std::uint32_t v) { PutRaw(&v, sizeof v); }
    void PutI32(std::int32_t v) { PutRaw(&v, sizeof v); }
    void PutU64(std::uint64_t v) { PutRaw(&v, sizeof v); }
    void PutDouble(double v) { PutRaw(&v, sizeof v); }
    void PutRaw(const void* data, std::size_t size);
    const std::string& Bytes() const { return _bytes; }
    std::string Take() { return std::move(_bytes); }

private:
    std::string _bytes;
};

class StateReader {
public:
    StateReader(const char* data, std::size_t size) : _data(data), _left(size) {}

    // Each Get fails (false, and the reader stays failed) when fewer bytes are
    // left than it needs; the value is then left unchanged.
    bool GetU8(std::uint8_t& v) { return GetRaw(&v, sizeof v); }
    bool GetU32(std::uint32_t& v) { return GetRaw(&v, sizeof v); }
    bool GetI32(std::int32_t& v) { return GetRaw(&v, sizeof v); }
    bool GetU64(std::uint64_t& v) { return GetRaw(&v, sizeof v); }
    bool GetDouble(double& v) { return GetRaw(&v, sizeof v); }
    bool GetRaw(void* out, std::size_t size);
    // A count of items of `itemBytes` each that must all fit in what is left:
    // a damaged count fails here rather than in a huge allocation.
    bool GetCount(std::uint32_t& n, std::size_t itemBytes);
    bool GetCount(std::uint64_t& n, std::size_t itemBytes);
    std::size_t Left() const { return _left; }
    bool Failed() const { return _failed; }

private:
    const char* _data;
    std::size_t _left;
    bool _failed = false;
};

namespace TableState {

constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kHeaderBytes = 8 + 4 + 4 + 8 * 4;

std::uint64_t Fnv1a(const void* data, std::size_t size, std::uint64_t hash = 14695981039346656037ULL);
inline std::uint64_t Mix(std::uint64_t hash, std::int64_t v) { return Fnv1a(&v, sizeof v, hash); }

// Header and body as one blob.
std::string Wrap(std::uint64_t fingerprint, std::uint64_t shape, const std::string& body);
// The body of a blob, after checking the header against the fingerprint and
// shape this table expects; false with a one-line reason otherwise.
bool Unwrap(const char* data, std::size_t size, std::uint64_t fingerprint, std::uint64_t shape, const char*& body,
            std::size_t& bodySize, std::string& error);

}  // namespace TableState

#endif
