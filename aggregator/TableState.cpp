#include "TableState.h"

#include <cstring>

namespace {

const char kMagic[8] = {'K', 'V', 'A', 'G', 'G', 'R', 'S', 'T'};
const std::uint32_t kByteOrder = 0x01020304u;

}  // namespace

void StateWriter::PutRaw(const void* data, std::size_t size)
{
    if (size > 0) _bytes.append(static_cast<const char*>(data), size);
}

bool StateReader::GetRaw(void* out, std::size_t size)
{
    if (_failed || size > _left) {
        _failed = true;
        return false;
    }
    if (size > 0) std::memcpy(out, _data, size);
    _data += size;
    _left -= size;
    return true;
}

bool StateReader::GetCount(std::uint32_t& n, std::size_t itemBytes)
{
    if (!GetU32(n)) return false;
    if (itemBytes != 0 && n > _left / itemBytes) _failed = true;
    return !_failed;
}

bool StateReader::GetCount(std::uint64_t& n, std::size_t itemBytes)
{
    if (!GetU64(n)) return false;
    if (itemBytes != 0 && n > _left / itemBytes) _failed = true;
    return !_failed;
}

namespace TableState {

std::uint64_t Fnv1a(const void* data, std::size_t size, std::uint64_t hash)
{
    const auto* p = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) {
        hash ^= p[i];
        hash *= 1099511628211ULL;
    }
    return hash;
}

std::string Wrap(std::uint64_t fingerprint, std::uint64_t shape, const std::string& body)
{
    StateWriter w;
    w.PutRaw(kMagic, sizeof kMagic);
    w.PutU32(kVersion);
    w.PutU32(kByteOrder);
    w.PutU64(fingerprint);
    w.PutU64(shape);
    w.PutU64(body.size());
    w.PutU64(Fnv1a(body.data(), body.size()));
    std::string blob = w.Take();
    blob += body;
    return blob;
}

bool Unwrap(const char* data, std::size_t size, std::uint64_t fingerprint, std::uint64_t expectedShape,
            const char*& body, std::size_t& bodySize, std::string& error)
{
    StateReader r(data, size);
    char magic[sizeof kMagic];
    std::uint32_t version = 0, order = 0;
    std::uint64_t print = 0, shape = 0, length = 0, checksum = 0;
    if (!r.GetRaw(magic, sizeof magic) || std::memcmp(magic, kMagic, sizeof magic) != 0) {
        error = "not a table state (it does not start as one)";
        return false;
    }
    if (!r.GetU32(version) || !r.GetU32(order) || !r.GetU64(print) || !r.GetU64(shape) || !r.GetU64(length) ||
        !r.GetU64(checksum)) {
        error = "truncated table state: " + std::to_string(size) + " bytes, shorter than its header";
        return false;
    }
    if (order != kByteOrder) {
        error = "table state written on a machine of another byte order";
        return false;
    }
    if (version != kVersion) {
        error = "table state of version " + std::to_string(version) + "; this program reads version " +
                std::to_string(kVersion);
        return false;
    }
    if (print != fingerprint || shape != expectedShape) {
        error = "table state of another request";
        return false;
    }
    if (length != r.Left()) {
        error = (length > r.Left() ? "truncated table state: " : "table state with extra bytes: ") +
                std::to_string(size) + " bytes where the header says " + std::to_string(length + kHeaderBytes);
        return false;
    }
    body = data + kHeaderBytes;
    bodySize = static_cast<std::size_t>(length);
    if (Fnv1a(body, bodySize) != checksum) {
        error = "damaged table state: its checksum does not match";
        return false;
    }
    return true;
}

}  // namespace TableState
