// What the tool asks of the terminal: its width, and a progress line on
// standard error while a long input is read.
#ifndef KVTABLES_TERMINAL_H
#define KVTABLES_TERMINAL_H

#include <cstdint>
#include <string>

#include "ProgressSink.h"

namespace kvtables {

// Columns available for text output on `fd`: COLUMNS when set to a positive
// number, else the terminal's width when `fd` is a terminal, else 0 (no limit).
int TerminalWidth(int fd);

// "label 42%" on standard error, redrawn in place when the percentage
// changes; silent unless standard error is a terminal.
class Progress : public ProgressSink {
public:
    Progress(std::string label, std::uint64_t total);
    ~Progress() override;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Update(std::uint64_t done) override;
    // Clears the line (also done by the destructor).
    void Finish() override;

private:
    std::string _label;
    std::uint64_t _total;
    int _shown = -1;
    bool _enabled;
};

}  // namespace kvtables

#endif
