#include "CategoryTestSupport.h"

#include <cfloat>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace kvtest {

std::vector<std::string> Words(const std::string& text, char sep)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string word; std::getline(in, word, sep);)
        if (!word.empty() && word != "-") out.push_back(word);
    return out;
}

std::vector<std::vector<std::string>> ReadTable(const std::string& path)
{
    std::ifstream in(path);
    EXPECT_TRUE(in.good()) << path;
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> fields(1);
        for (char ch : line) {
            if (ch == '\t') fields.emplace_back();
            else fields.back() += ch;
        }
        rows.push_back(fields);
    }
    return rows;
}

std::string Show(const std::vector<AggregationCategory*>& list, bool encodings, const VESK_DataSource* members)
{
    std::string out;
    for (const AggregationCategory* c : list) {
        AggregationCategory::CategoryType type = c->GetCatType();
        bool valued = type == AggregationCategory::kValue || type == AggregationCategory::kVariable;
        std::string s;
        if (valued && c->GetValueType() == 0) {
            char buf[32];
            std::snprintf(buf, sizeof buf, "%g", c->GetCatValue().num);
            s = buf;
        } else if (valued) {
            s.assign(c->GetCatValue().str, static_cast<size_t>(c->GetValueType()));
            s.erase(s.find_last_not_of(' ') + 1);
        }
        if (valued && c->GetCatEncoding() == 0) s += "*";
        if (type == AggregationCategory::kTotal) s = "T";
        if (type == AggregationCategory::kSubtotal) s = "S" + std::to_string(c->GetCatEncoding());
        if (type == AggregationCategory::kHSubtotal) s = "H" + std::to_string(c->GetCatEncoding());
        if (type == AggregationCategory::kPCompute) s = "P";
        if (type == AggregationCategory::kDummy) s = "D";
        const std::string& label = c->GetCatLabel();
        if (!label.empty() && (!c->GetIsLabelDefault() || type == AggregationCategory::kPCompute)) s += ":" + label;
        if (encodings && valued && c->GetCatEncoding() != 0) s += "#" + std::to_string(c->GetCatEncoding());
        if (members && (type == AggregationCategory::kValue || type == AggregationCategory::kPCompute))
            s += "@" + std::string(c->GetVarIndex() < 0 ? "-" : members->GetVariable(c->GetVarIndex())->GetName());
        out += (out.empty() ? "" : " ") + s;
    }
    return out.empty() ? "-" : out;
}

CategoryScenario::CategoryScenario(const std::string& setup, const std::string& list, const std::string& data)
{
    std::vector<std::string> words = Words(setup);
    for (const std::string& w : words) {
        if (w == "mc") _set = true;
        if (w == "md") _set = _dichotomy = true;
        if (w.compare(0, 4, "str=") == 0) _width = std::stoi(w.substr(4));
    }
    for (const char* name : {"a", "b", "c"}) {
        const char* shown = _set ? name : "x";
        vars.push_back(_width ? ds.AddString(shown, _width) : ds.AddNumeric(shown));
        if (!_set) break;
    }
    _counted = Num(1.0);
    if (_dichotomy) var.reset(new AggregationMDSet(vars, "$d", &_counted, 0, false));
    else if (_set) var.reset(new AggregationMCSet(vars, "$s"));
    else var.reset(new AggregationVariable(vars[0], "x"));

    std::vector<double> missing;
    bool counts = false, duplicates = false;
    for (const std::string& w : words) {
        size_t eq = w.find('=');
        std::string after = eq == std::string::npos ? "" : w.substr(eq + 1);
        if (w == "desc") var->SetIsOrderA(false);
        else if (w == "total") var->SetIsTotalNo(false);
        else if (w == "before") var->SetIsTotalPositionAfter(false);
        else if (w == "noempty") var->SetIsEmptyInclude(false);
        else if (w == "incmissing") var->SetIsMissingExclude(false);
        else if (w == "sortlabel") var->SetSortKey(TableEncryptionCodes::kLabelSort);
        else if (w == "nosort") var->SetSortKey(TableEncryptionCodes::kNoSort);
        else if (w == "counts") counts = true;
        else if (w == "dups") counts = duplicates = true;
        else if (w == "enc") _encodings = true;
        else if (w.compare(0, 2, "T=") == 0) {
            var->SetTotalLabel(after);
            var->SetIsTotalLabelDefault(false);
        } else if (w.compare(0, 5, "stat=") == 0) {
            var->SetSortKey(TableEncryptionCodes::kStatisticSort);
            for (const std::string& v : Words(after, ',')) sortValues.push_back(v == "." ? -DBL_MAX : std::stod(v));
        } else if (w[0] == 'L' && eq != std::string::npos) {
            size_t from = _set ? 2 : 1;
            std::string key = w.substr(from, eq - from);
            size_t member = _set ? static_cast<size_t>(w[1] - 'a') : 0;
            VESK_ValueLabels& labels = ds.GetVariable(vars[member])->GetValueLabels();
            if (_width) labels.Add(key, after);
            else labels.Add(std::stod(key), after);
        } else if (w[0] == 'M') {
            missing.push_back(std::stod(w.substr(1)));
        } else if (w != "mc" && w != "md" && w.compare(0, 4, "str=") != 0) {
            ADD_FAILURE() << "unknown setup word " << w;
        }
    }
    if (!missing.empty()) ds.GetVariable(vars[0])->SetMissingValues(missing);

    std::vector<ParsedCategory*> listed;
    for (const std::string& w : Words(list)) listed.push_back(Item(w));
    if (!listed.empty()) var->SetParsedCategories(listed);

    for (const std::string& w : Words(data)) {
        int row = ds.AppendCase();
        std::vector<std::string> values = Words(w, '/');
        for (size_t i = 0; i < values.size(); ++i) {
            if (values[i] == ".") continue;
            if (_width) ds.SetString(row, vars[i], values[i]);
            else ds.SetNumeric(row, vars[i], std::stod(values[i]));
        }
    }

    if (_dichotomy) dim.reset(new TableMDSet(static_cast<AggregationMDSet&>(*var)));
    else if (_set) dim.reset(new TableMCSet(static_cast<AggregationMCSet&>(*var)));
    else dim.reset(new TableCVariable(*var));
    iterator.reset(new DatasetIterator(ds));
    dim->SetIterator(*iterator);
    if (counts) dim->SetComputingCounts(duplicates);
}

std::vector<OBS> CategoryScenario::Value(const std::string& text) const
{
    return _width ? Str(text, _width) : std::vector<OBS>{Num(std::stod(text))};
}

ParsedCategory* CategoryScenario::Item(const std::string& w)
{
    ParsedCategory* item;
    size_t eq = w.find('=');
    size_t slash = w.find('/');
    std::string v = w.substr(0, slash);
    size_t colon = v.find(':');
    if (w == "OTHER") {
        item = new ParsedCategory(ParsedCategory::kOtherNM);
    } else if (w == "MISSING") {
        item = new ParsedCategory(ParsedCategory::kMissing);
    } else if (w == "ALL") {
        item = new ParsedCategory(ParsedCategory::kLoHiRange);
    } else if ((w[0] == 'S' || w[0] == 'H') && w.size() > 1 && w[1] == '-') {
        bool labelled = eq != std::string::npos;
        item = new ParsedCategory(labelled ? w.substr(eq + 1) : "Subtotal", !labelled, std::stoi(w.substr(1, eq - 1)),
                                  w[0] == 'S');
    } else if (w.compare(0, 2, "P=") == 0) {
        std::vector<std::string> parts = Words(w.substr(2), '=');
        item = new ParsedCategory(parts[0], parts.size() > 1 ? Words(parts[1], ',') : std::vector<std::string>{},
                                  false, {}, {}, {}, ParsedCategory::kPCompute, vars[0]);
    } else if (_dichotomy) {
        item = new ParsedCategory(ParsedCategory::kVariable);
        item->SetVarIndex(vars[static_cast<size_t>(v[0] - 'a')]);
    } else if (colon == std::string::npos) {
        item = new ParsedCategory(Value(v)[0], _width);
    } else if (v.compare(0, 3, "LO:") == 0) {
        item = new ParsedCategory(Value(v.substr(3))[0], _width, ParsedCategory::kLoRange);
    } else if (v.compare(colon, 3, ":HI") == 0) {
        item = new ParsedCategory(Value(v.substr(0, colon))[0], _width, ParsedCategory::kHiRange);
    } else {
        item = new ParsedCategory(Value(v.substr(0, colon))[0], Value(v.substr(colon + 1))[0], _width);
    }
    if (slash != std::string::npos) item->SetSubtotalEncoding(std::stoi(w.substr(slash + 1)));
    items.emplace_back(item);
    return item;
}

std::pair<std::string, std::string> CategoryScenario::Encode()
{
    std::string cells, counted;
    iterator->Rewind();
    while (iterator->Next()) {
        counted += dim->EncodeValue() ? 'T' : 'F';
        if (!cells.empty()) cells += " | ";
        for (int i = 0; i <= dim->GetLastCatCell(); ++i) {
            if (i > 0) cells += ' ';
            cells += std::to_string(dim->GetCatCell(i));
            if (dim->GetComputingCounts()) cells += "#" + std::to_string(dim->GetCellCount(i));
        }
    }
    return {cells, counted};
}

std::string CategoryScenario::Show(const std::vector<AggregationCategory*>& list) const
{
    return kvtest::Show(list, _encodings, _set && !_dichotomy ? &ds : nullptr);
}

}  // namespace kvtest
