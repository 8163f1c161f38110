#include "AggregationVariable.h"

struct AggregationVariableRecord {
    int _index = -1;
    std::string _nameToken;
    std::string _label;
    TableDimension* _tableDimension = nullptr;        // not owned
    std::vector<ParsedCategory*> _parsedCategories;  // not owned
    bool _isOrderA = true;
    TableEncryptionCodes::SortKey _sortKey = TableEncryptionCodes::kValueSort;
    // Meaningless until SetSortInfo; they hold "no statistic" and "no
    // variable" rather than stray bits so that copying them is well defined.
    TableEncryptionCodes::StatisticCodes _sortStatistic = TableEncryptionCodes::kNoStatistic;
    int _sortVariableIndex = -1;
    bool _isMissingExclude = true;
    bool _isTotalNo = true;
    std::string _totalLabel = "Total";
    bool _isTotalLabelDefault = true;
    bool _isTotalPositionAfter = true;
    bool _isEmptyInclude = true;
};

AggregationVariable::AggregationVariable() : _record(new AggregationVariableRecord) {}

AggregationVariable::AggregationVariable(int index, const std::string& nameToken)
    : _record(new AggregationVariableRecord)
{
    _record->_index = index;
    _record->_nameToken = nameToken;
}

AggregationVariable::AggregationVariable(const AggregationVariable& other)
    : _record(new AggregationVariableRecord(*other._record))
{
}

AggregationVariable& AggregationVariable::operator=(const AggregationVariable& other)
{
    if (this != &other) *_record = *other._record;
    return *this;
}

AggregationVariable::~AggregationVariable() { delete _record; }

int AggregationVariable::GetIndex() const { return _record->_index; }
void AggregationVariable::SetIndex(int index) { _record->_index = index; }
const std::string& AggregationVariable::GetNameToken() const { return _record->_nameToken; }
void AggregationVariable::SetNameToken(const std::string& nameToken) { _record->_nameToken = nameToken; }
const std::string& AggregationVariable::GetLabel() const { return _record->_label; }
void AggregationVariable::SetLabel(const std::string& label) { _record->_label = label; }
TableDimension* AggregationVariable::GetTableDimension() const { return _record->_tableDimension; }
void AggregationVariable::SetTableDimension(TableDimension* dimension) { _record->_tableDimension = dimension; }

const std::vector<ParsedCategory*>& AggregationVariable::GetParsedCategories() const
{
    return _record->_parsedCategories;
}

void AggregationVariable::SetParsedCategories(const std::vector<ParsedCategory*>& categories)
{
    _record->_parsedCategories.clear();
    for (ParsedCategory* category : categories) _record->_parsedCategories.push_back(category);
}

bool AggregationVariable::GetIsOrderA() const { return _record->_isOrderA; }
void AggregationVariable::SetIsOrderA(bool isOrderA) { _record->_isOrderA = isOrderA; }
bool AggregationVariable::GetIsMissingExclude() const { return _record->_isMissingExclude; }
void AggregationVariable::SetIsMissingExclude(bool isMissingExclude) { _record->_isMissingExclude = isMissingExclude; }
bool AggregationVariable::GetIsTotalPositionAfter() const { return _record->_isTotalPositionAfter; }
void AggregationVariable::SetIsTotalPositionAfter(bool isAfter) { _record->_isTotalPositionAfter = isAfter; }
bool AggregationVariable::GetIsEmptyInclude() const { return _record->_isEmptyInclude; }
void AggregationVariable::SetIsEmptyInclude(bool isEmptyInclude) { _record->_isEmptyInclude = isEmptyInclude; }
std::string AggregationVariable::GetTotalLabel() const { return _record->_totalLabel; }
void AggregationVariable::SetTotalLabel(const std::string& label) { _record->_totalLabel = label; }
bool AggregationVariable::GetIsTotalLabelDefault() const { return _record->_isTotalLabelDefault; }
void AggregationVariable::SetIsTotalLabelDefault(bool isDefault) { _record->_isTotalLabelDefault = isDefault; }
TableEncryptionCodes::SortKey AggregationVariable::GetSortKey() const { return _record->_sortKey; }
TableEncryptionCodes::StatisticCodes AggregationVariable::GetSortStatistic() const { return _record->_sortStatistic; }
int AggregationVariable::GetSortVariableIndex() const { return _record->_sortVariableIndex; }

void AggregationVariable::SetSortInfo(TableEncryptionCodes::StatisticCodes statistic, int variableIndex)
{
    _record->_sortStatistic = statistic;
    _record->_sortVariableIndex = variableIndex;
}

void AggregationVariable::SetSortKey(TableEncryptionCodes::SortKey sortKey) { _record->_sortKey = sortKey; }
bool AggregationVariable::GetIsTotalNo() const { return _record->_isTotalNo; }
void AggregationVariable::SetIsTotalNo(bool isTotalNo) { _record->_isTotalNo = isTotalNo; }
