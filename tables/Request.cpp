#include "Request.h"

#include <charconv>

#include "StatisticCatalogue.h"
#include "UserError.h"

namespace kvtables {

std::string Literal::Describe() const
{
    if (isString) return Quote(text);
    char buf[32];
    auto res = std::to_chars(buf, buf + sizeof buf, number);
    return std::string(buf, res.ptr);
}

const CategoryOptions& TableRequest::CategoriesOf(const std::string& name) const
{
    static const CategoryOptions defaults;
    for (const auto& [key, options] : categories)
        if (key == name) return options;
    return defaults;
}

bool CategoryOptions::NeedsTotal() const
{
    for (const CategoryItem& item : items)
        for (const FormulaRef& r : item.formula.References())
            if (item.kind == ItemKind::Computed && r.kind == FormulaRef::Kind::Total) return true;
    return false;
}

std::vector<const AxisEntry*> TableRequest::AllEntries() const
{
    std::vector<const AxisEntry*> all;
    for (const auto* axis : {&rows, &columns})
        for (const StackElement& element : *axis)
            for (const AxisEntry& e : element.nest) all.push_back(&e);
    for (const AxisEntry& e : layers) all.push_back(&e);
    return all;
}

int Request::FindSet(const std::string& name) const
{
    for (size_t i = 0; i < sets.size(); ++i)
        if (sets[i].name == name) return static_cast<int>(i);
    return -1;
}

namespace stats {

namespace {
namespace Cat = StatisticCatalogue;

// Unknown codes are nothing: they take, need and are nothing.
const Cat::Entry& Of(int code)
{
    static const Cat::Entry none{};
    const Cat::Entry* e = Cat::Find(code);
    return e ? *e : none;
}
}  // namespace

bool IsKnown(int code) { return Of(code).requestable; }
bool NeedsSummary(int code) { return Of(code).needs == Cat::Needs::kSummary; }
bool IsResponses(int code) { return Of(code).needs == Cat::Needs::kResponses; }
bool TakesCut(int code) { return Of(code).params & Cat::kCut; }
bool TakesLevel(int code) { return Of(code).params & Cat::kLevel; }
bool TakesLower(int code) { return Of(code).params & Cat::kLower; }
bool TakesUpper(int code) { return Of(code).params & Cat::kUpper; }
bool IsPercentage(int code) { return Of(code).kind == Cat::Kind::kPercentage; }
bool IsCount(int code) { return Of(code).kind == Cat::Kind::kCount || Of(code).kind == Cat::Kind::kResponses; }

int PercentBaseType(int code)
{
    const Cat::Entry& e = Of(code);
    return e.member == TableEncryptionCodes::kConfValue ? e.baseType : -1;
}

std::string DefaultLabel(const StatisticRequest& s, double ciLevel)
{
    std::string label = Of(s.code).label;
    const std::pair<const char*, std::optional<double>> params[] = {
        {"{cut}", s.cut}, {"{lower}", s.lower}, {"{upper}", s.upper}, {"{level}", s.level.value_or(ciLevel)}};
    for (const auto& [mark, value] : params) {
        const size_t at = label.find(mark);
        if (at != std::string::npos && value)
            label.replace(at, std::string(mark).size(), Literal::Number(*value).Describe());
    }
    return label;
}

}  // namespace stats

}  // namespace kvtables
