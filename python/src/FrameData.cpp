#include "FrameData.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <string_view>
#include <unordered_map>

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include "HostError.h"
#include "UserError.h"

namespace py = pybind11;

namespace kvaggr_python {

namespace {

using kvtables::Quote;
using kvtables::UserError;

const char* const kFrame = "data frame";

[[noreturn]] void Fail(const std::string& column, const std::string& what)
{
    throw UserError(kFrame, "column " + Quote(column), what);
}

// A one-dimensional array of one element per row.
py::array RowArray(const std::string& name, const py::handle& payload, size_t rows)
{
    if (!py::isinstance<py::array>(payload)) Fail(name, "expected an array of values");
    auto a = py::reinterpret_borrow<py::array>(payload);
    if (a.ndim() != 1 || static_cast<size_t>(a.shape(0)) != rows) Fail(name, "expected one value per row");
    return a;
}

// An F format that shows every value as it is: no more than six decimals,
// as many as the values need.
VESK_Format NumericFormat(const double* data, std::ptrdiff_t stride, size_t rows, bool integral)
{
    static const double kScale[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6};
    int decimals = 0;
    double largest = 0.0;
    const char* p = reinterpret_cast<const char*>(data);
    for (size_t i = 0; i < rows; ++i, p += stride) {
        const double v = std::fabs(*reinterpret_cast<const double*>(p));
        if (!std::isfinite(v) || v == DBL_MAX) continue;
        largest = std::max(largest, v);
        for (; !integral && decimals < 6; ++decimals) {
            const double scaled = v * kScale[decimals];
            if (std::fabs(scaled - std::round(scaled)) <= 1e-9 * std::max(1.0, scaled)) break;
        }
    }
    const int digits = largest < 10.0 ? 1 : std::min(30, static_cast<int>(std::floor(std::log10(largest))) + 1);
    return VESK_Format{'F', std::min(40, std::max(8, 1 + digits + (decimals > 0 ? decimals + 1 : 0))), decimals};
}

std::unique_ptr<VESK_Variable> NumericVariable(const std::string& name, const VESK_Format& format)
{
    auto v = std::make_unique<VESK_Variable>(name, 0);
    v->SetFormat(format);
    return v;
}

// The text of one element of an object column; false for a blank one (None,
// NaN, pd.NA). `scratch` holds the text of anything that is not str or bytes.
bool ElementText(PyObject* o, std::string_view& text, std::string& scratch)
{
    if (o == Py_None) return false;
    if (PyUnicode_Check(o)) {
        Py_ssize_t size = 0;
        const char* s = PyUnicode_AsUTF8AndSize(o, &size);
        if (!s) throw py::error_already_set();
        text = std::string_view(s, static_cast<size_t>(size));
        return true;
    }
    if (PyBytes_Check(o)) {
        text = std::string_view(PyBytes_AS_STRING(o), static_cast<size_t>(PyBytes_GET_SIZE(o)));
        return true;
    }
    if (PyFloat_Check(o) && std::isnan(PyFloat_AS_DOUBLE(o))) return false;
    static PyObject* const pandasNA = py::object(py::module_::import("pandas").attr("NA")).release().ptr();
    if (o == pandasNA) return false;
    scratch = py::str(o).cast<std::string>();
    text = scratch;
    return true;
}

std::string_view TrimTrailing(std::string_view s)
{
    while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
    return s;
}

// Texts by row, from an object array or from categories and their codes.
class Texts {
public:
    virtual ~Texts() = default;
    virtual bool At(size_t row, std::string_view& text, std::string& scratch) const = 0;
};

class ObjectTexts : public Texts {
public:
    explicit ObjectTexts(const py::array& a) : _data(static_cast<const char*>(a.data())), _stride(a.strides(0)) {}
    bool At(size_t row, std::string_view& text, std::string& scratch) const override
    {
        return ElementText(*reinterpret_cast<PyObject* const*>(_data + static_cast<std::ptrdiff_t>(row) * _stride),
                           text, scratch);
    }

private:
    const char* _data;
    std::ptrdiff_t _stride;
};

class CategoryTexts : public Texts {
public:
    CategoryTexts(const std::vector<long long>& codes, const std::vector<std::string>& categories)
        : _codes(codes), _categories(categories)
    {
    }
    bool At(size_t row, std::string_view& text, std::string&) const override
    {
        if (_codes[row] < 0) return false;
        text = _categories[static_cast<size_t>(_codes[row])];
        return true;
    }

private:
    const std::vector<long long>& _codes;
    const std::vector<std::string>& _categories;
};

class Builder {
public:
    Builder(size_t rows, const std::optional<DataDictionary>& dictionary)
        : _rows(rows), _dictionary(dictionary), _data{std::make_unique<ColumnDataset>(rows), {}}
    {
    }

    FrameData Build(const std::vector<std::string>& names, const py::dict& columns)
    {
        CheckNames(names);
        for (const std::string& name : names) {
            const VESK_Variable* described = Described(name);
            const py::str key(name);
            if (!columns.contains(key)) {
                _data.dataset->AddVariable(described ? std::make_unique<VESK_Variable>(*described)
                                                     : std::make_unique<VESK_Variable>(name, 0));
            } else {
                Add(name, described, py::reinterpret_borrow<py::tuple>(columns[key]));
            }
        }
        _data.whyText.resize(static_cast<size_t>(_data.dataset->GetNumVariables()));
        for (auto& [index, why] : _why) _data.whyText[static_cast<size_t>(index)] = why;
        return std::move(_data);
    }

private:
    void CheckNames(const std::vector<std::string>& names)
    {
        std::unordered_map<std::string, size_t> seen;
        for (size_t i = 0; i < names.size(); ++i) {
            if (names[i].empty())
                throw UserError(kFrame, "", "column " + std::to_string(i + 1) + " has no name");
            auto [it, fresh] = seen.emplace(names[i], i);
            if (!fresh)
                throw UserError(kFrame, "", "duplicate column name " + Quote(names[i]) + " (columns " +
                                                std::to_string(it->second + 1) + " and " + std::to_string(i + 1) + ")");
        }
        if (!_dictionary) return;
        for (size_t i = 0; i < _dictionary->variables.size(); ++i) {
            const std::string name = _dictionary->variables[i].GetName();
            if (!seen.count(name))
                throw UserError(_dictionary->path, "/variables/" + std::to_string(i) + "/name",
                                "no column " + Quote(name) + " in the data frame");
        }
    }

    const VESK_Variable* Described(const std::string& name) const
    {
        const int d = _dictionary ? _dictionary->Find(name) : -1;
        return d < 0 ? nullptr : &_dictionary->variables[static_cast<size_t>(d)];
    }

    void Add(const std::string& name, const VESK_Variable* described, const py::tuple& column)
    {
        const std::string kind = column[0].cast<std::string>();
        if (kind == "numeric") {
            const py::array a = RowArray(name, column[1], _rows);
            if (described && described->IsString())
                Fail(name, "the dictionary describes a string variable, but the frame holds numbers (dtype " +
                               py::str(a.dtype()).cast<std::string>() + ")");
            AddNumeric(name, described, a);
        } else if (kind == "string") {
            const py::array a = RowArray(name, column[1], _rows);
            if (a.dtype().kind() != 'O') Fail(name, "expected an array of objects");
            if (described && !described->IsString())
                Fail(name, "the dictionary describes a numeric variable, but the frame holds text (dtype object)");
            AddString(name, described, ObjectTexts(a));
        } else if (kind == "categorical") {
            AddCategorical(name, described, column[1], column[2].cast<std::vector<std::string>>());
        } else {
            Fail(name, "dtype " + column[1].cast<std::string>() + " is not numbers, text or categories");
        }
    }

    void AddNumeric(const std::string& name, const VESK_Variable* described, const py::array& a)
    {
        const bool borrow =
            a.dtype().kind() == 'f' && a.itemsize() == sizeof(double) && a.dtype().attr("isnative").cast<bool>();
        std::vector<double> owned;
        const double* data = nullptr;
        std::ptrdiff_t stride = sizeof(double);
        if (borrow) {
            data = static_cast<const double*>(a.data());
            stride = a.strides(0);
        } else {
            const auto converted = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(a);
            if (!converted) {
                PyErr_Clear();
                Fail(name, "dtype " + py::str(a.dtype()).cast<std::string>() + " does not convert to numbers");
            }
            owned.assign(converted.data(), converted.data() + _rows);
            data = owned.data();
        }
        auto variable = described ? std::make_unique<VESK_Variable>(*described)
                                  : NumericVariable(name, NumericFormat(data, stride, _rows, a.dtype().kind() != 'f'));
        if (borrow) _data.dataset->AddBorrowedNumeric(std::move(variable), data, stride);
        else _data.dataset->AddNumeric(std::move(variable), std::move(owned));
    }

    void AddString(const std::string& name, const VESK_Variable* described, const Texts& texts)
    {
        std::string scratch;
        std::string_view text;
        int width = described ? described->GetType() : 0;
        if (!described) {
            size_t widest = 0;
            long long first = -1;
            std::string firstText;
            for (size_t r = 0; r < _rows; ++r) {
                if (!texts.At(r, text, scratch)) continue;
                text = TrimTrailing(text);
                if (text.size() > static_cast<size_t>(VESK_Variable::kMaxStringWidth))
                    Fail(name, "row " + std::to_string(r) + ": a value of " + std::to_string(text.size()) +
                                   " bytes is wider than 32767");
                widest = std::max(widest, text.size());
                if (first < 0 && !text.empty()) {
                    first = static_cast<long long>(r);
                    firstText = text;
                }
            }
            // Like a CSV column with no values at all, a column of nothing but
            // blanks is numeric (and every value is missing).
            if (first < 0) {
                _data.dataset->AddVariable(NumericVariable(name, VESK_Format{'F', 8, 0}));
                return;
            }
            width = static_cast<int>(widest);
            _why.emplace_back(_data.dataset->GetNumVariables(),
                              std::string(kFrame) + " row " + std::to_string(first) + " holds " +
                                  QuoteForMessage(firstText));
        }
        const int index = _data.dataset->AddString(described ? std::make_unique<VESK_Variable>(*described)
                                                              : std::make_unique<VESK_Variable>(name, width));
        for (size_t r = 0; r < _rows; ++r) {
            if (!texts.At(r, text, scratch)) continue;
            if (!_data.dataset->SetString(index, r, text)) {
                text = TrimTrailing(text);
                Fail(name, "row " + std::to_string(r) + ": " + QuoteForMessage(text) + " is " +
                               std::to_string(text.size()) + " bytes, wider than the width " + std::to_string(width));
            }
        }
    }

    // Numeric codes 1 ... k labelled by the categories, unless the dictionary
    // makes the column a string: then the categories are its values.
    void AddCategorical(const std::string& name, const VESK_Variable* described, const py::handle& codesArray,
                        const std::vector<std::string>& categories)
    {
        const py::array a = RowArray(name, codesArray, _rows);
        const auto converted = py::array_t<long long, py::array::c_style | py::array::forcecast>::ensure(a);
        if (!converted) throw py::error_already_set();
        const std::vector<long long> codes(converted.data(), converted.data() + _rows);
        for (long long c : codes)
            if (c >= static_cast<long long>(categories.size())) Fail(name, "a category code is out of range");
        if (described && described->IsString()) {
            AddString(name, described, CategoryTexts(codes, categories));
            return;
        }
        std::vector<double> values(_rows);
        for (size_t r = 0; r < _rows; ++r) values[r] = codes[r] < 0 ? -DBL_MAX : static_cast<double>(codes[r] + 1);
        const double k = static_cast<double>(categories.size());
        auto variable = described ? std::make_unique<VESK_Variable>(*described)
                                  : NumericVariable(name, NumericFormat(&k, 0, 1, true));
        VESK_ValueLabels& labels = variable->GetValueLabels();
        for (size_t i = 0; i < categories.size(); ++i) {
            OBS value;
            value.num = static_cast<double>(i + 1);
            if (labels.Find(&value) < 0) labels.Add(value.num, categories[i]);
        }
        _data.dataset->AddNumeric(std::move(variable), std::move(values));
    }

    size_t _rows;
    const std::optional<DataDictionary>& _dictionary;
    FrameData _data;
    std::vector<std::pair<int, std::string>> _why;
};

}  // namespace

FrameData MakeFrameData(size_t rows, const std::vector<std::string>& names, const py::dict& columns,
                        const std::optional<DataDictionary>& dictionary)
{
    return Builder(rows, dictionary).Build(names, columns);
}

}  // namespace kvaggr_python
