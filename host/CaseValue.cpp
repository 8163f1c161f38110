#include "CaseValue.h"

#include <stdexcept>

CaseValue::CaseValue(VESK_InputCaseIterator& iterator, int varIndex)
    : _iterator(&iterator), _variable(iterator.GetDataSource().GetVariable(varIndex)), _varIndex(varIndex)
{
    if (!_variable) throw std::out_of_range("no variable with index " + std::to_string(varIndex));
    _width = _variable->GetType();
}
