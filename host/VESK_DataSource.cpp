#include "VESK_DataSource.h"

#include <stdexcept>

int VESK_DataSource::AddVariable(std::unique_ptr<VESK_Variable> variable)
{
    if (!variable) throw std::invalid_argument("null variable");
    std::string name = variable->GetName();
    if (_byName.count(name)) throw std::invalid_argument("duplicate variable name \"" + name + "\"");
    int index = static_cast<int>(_variables.size());
    _byName.emplace(name, index);
    _variables.push_back(std::move(variable));
    return index;
}

VESK_Variable* VESK_DataSource::GetVariable(int index) const
{
    if (index < 0 || index >= GetNumVariables()) return nullptr;
    return _variables[static_cast<size_t>(index)].get();
}

int VESK_DataSource::FindVariable(const std::string& name) const
{
    auto it = _byName.find(name);
    return it == _byName.end() ? -1 : it->second;
}
