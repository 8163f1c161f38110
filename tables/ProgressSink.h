// Told how far the data have been read, for a progress display.
#ifndef KVTABLES_PROGRESSSINK_H
#define KVTABLES_PROGRESSSINK_H

#include <cstdint>

namespace kvtables {

class ProgressSink {
public:
    virtual ~ProgressSink() = default;
    // `line`: the data line reached (only for data read from a file).
    virtual void Update(std::uint64_t line) = 0;
    virtual void Finish() = 0;
};

}  // namespace kvtables

#endif
