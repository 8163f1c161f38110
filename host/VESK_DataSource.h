// The host's data dictionary: the variables of a dataset, by index.
#ifndef KVHOST_VESK_DATASOURCE_H
#define KVHOST_VESK_DATASOURCE_H

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "VESK_Variable.h"

class VESK_DataSource {
public:
    VESK_DataSource() = default;
    virtual ~VESK_DataSource() = default;
    VESK_DataSource(const VESK_DataSource&) = delete;
    VESK_DataSource& operator=(const VESK_DataSource&) = delete;

    // Appends a variable and returns its index; throws std::invalid_argument
    // when the name is already taken (names compare exactly).
    virtual int AddVariable(std::unique_ptr<VESK_Variable> variable);
    // The variable at `index`, or null outside 0 ... GetNumVariables() - 1.
    VESK_Variable* GetVariable(int index) const;
    int GetNumVariables() const { return static_cast<int>(_variables.size()); }
    // Index of the named variable, or -1.
    int FindVariable(const std::string& name) const;

private:
    std::vector<std::unique_ptr<VESK_Variable>> _variables;
    std::unordered_map<std::string, int> _byName;
};

#endif
