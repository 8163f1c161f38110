// How much memory a run may take, and how much it takes. A table's state
// grows with its cells (and their value tables and percentage bases), which
// the data decide: a request can ask for more than the machine has. The
// builder watches the heap as cases come in and the reader checks the size of
// what it is about to lay out, so that such a request ends with a message
// naming the table instead of exhausting the machine.
#ifndef KVTABLES_MEMORYLIMIT_H
#define KVTABLES_MEMORYLIMIT_H

#include <cstddef>
#include <string>

namespace kvtables {

// Bytes of heap the process holds now.
std::size_t HeapInUse();

// The default limit: three quarters of the memory the process may have (the
// machine's, or its control group's when that is smaller), and at most half
// of its address-space limit when one is set.
std::size_t DefaultMemoryLimit();

// The limit a run keeps to, and how its user sets it (for the message).
struct MemoryLimit {
    std::size_t bytes = DefaultMemoryLimit();
    std::string setting = "--max-memory";
    // The heap when the run began: the limit is on what the run adds to it,
    // not on what its host (a Python session, say) held before.
    std::size_t start = 0;

    // Bytes the run has added to the heap so far.
    std::size_t Used() const;

    // "the memory limit of 1.5 GB"
    std::string Describe() const;
    // "(ask for fewer categories or variables, or set --max-memory)"
    std::string Advice() const;
};

// Polls the heap as cases come in: after every case while cases make it grow
// fast, up to thousands of cases apart while they do not, so that a case that
// creates millions of cells is caught as early as one that creates none costs
// nothing.
class HeapWatch {
public:
    explicit HeapWatch(const MemoryLimit& limit);

    // Call once per case; true once the heap has passed the limit.
    bool Exceeded() { return --_untilCheck == 0 && Check(); }

private:
    bool Check();

    const MemoryLimit& _limit;
    std::size_t _last;
    unsigned _period = 1, _untilCheck = 1;
};

// "4G", "512M", "300k" or a number of bytes; throws UserError naming `what`.
std::size_t ParseMemorySize(const std::string& text, const std::string& what);

// "1.5 GB", "300 MB", "12 kB".
std::string FormatMemorySize(std::size_t bytes);

}  // namespace kvtables

#endif
