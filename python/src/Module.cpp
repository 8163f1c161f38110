// kvaggr._kvaggr: the request layer that kvtables runs on, as a few calls that
// the pure-Python layer (kvaggr/__init__.py) makes in the command line's
// order: parse the request, hand over the data, check the request against
// them, run, read the tables back. Results cross as plain data: the tidy
// columns of TidyTable.h, and each cell's categories by index for the wide
// form. A mistake in what the user gave raises RequestError with the
// command line's message.
#include <algorithm>
#include <limits>
#include <memory>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "DataAccess.h"
#include "FrameData.h"
#include "HostError.h"
#include "Renderers.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "TableBuilder.h"
#include "TableRunner.h"
#include "TidyTable.h"
#include "UserError.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace {

using kvtables::Request;
using kvtables::ResultSet;
using kvtables::ResultTable;
using kvtables::TidyField;
using kvtables::UserError;

// The significance tests' frame: one row per test record.
const char* const kTestColumns[] = {"test",      "layers", "rows",   "columns",        "versus",
                                    "statistic", "df",     "pValue", "adjustedPValue", "significant"};

// The dictionary given as text (named `name` in messages), else the request's file, else none.
std::optional<DataDictionary> ReadDictionary(const Request& request, const std::optional<std::string>& text,
                                             const std::string& name = "dictionary")
{
    try {
        if (text) return ParseDictionary(*text, name);
        if (!request.dictionaryPath.empty()) return LoadDictionary(request.dictionaryPath);
    } catch (const HostError& e) {
        throw UserError(e.what());
    }
    return std::nullopt;
}

// What a frame's dataset is read with: the user's dictionary (as ReadDictionary
// finds it), and for the columns it does not describe, the variables inferred
// over the whole of a partitioned frame (`inferred`, a dictionary's text), so
// that every partition reads its columns alike: the same string widths, the
// same formats.
struct FrameDictionary {
    std::optional<std::string> text;
    std::string name = "dictionary";
    std::optional<std::string> inferred;

    std::optional<DataDictionary> Read(const Request& request) const
    {
        std::optional<DataDictionary> dictionary = ReadDictionary(request, text, name);
        if (!inferred) return dictionary;
        std::optional<DataDictionary> whole = ReadDictionary(request, inferred, "inferred dictionary");
        if (!dictionary) return whole;
        for (const VESK_Variable& v : whole->variables)
            if (dictionary->Find(v.GetName()) < 0) dictionary->variables.push_back(v);
        return dictionary;
    }
};

// A data frame, or a partition of one, ready to run: the dataset and its cases
// over a request validated against it.
struct FrameRun {
    Request request;
    kvaggr_python::FrameData frame;
    std::unique_ptr<ColumnIterator> cases;

    FrameRun(const Request& parsed, size_t rows, const std::vector<std::string>& names, const py::dict& columns,
             const FrameDictionary& dictionary)
        : request(parsed), frame(kvaggr_python::MakeFrameData(rows, names, columns, dictionary.Read(parsed)))
    {
        kvtables::ValidateRequest(request, *frame.dataset,
                                  [this](int varIndex) { return frame.whyText[static_cast<size_t>(varIndex)]; });
        cases = std::make_unique<ColumnIterator>(*frame.dataset, request.weightIndex);
    }
};

kvtables::MemoryLimit Limit(const std::optional<std::string>& maxMemory)
{
    kvtables::MemoryLimit limit;
    limit.setting = "max_memory";
    if (maxMemory) limit.bytes = kvtables::ParseMemorySize(*maxMemory, "max_memory");
    return limit;
}

// Numbers as a float64 array (NaN when empty); a column holding any text as a
// list, with NaN where it is empty, as pandas reads such a column.
py::object TidyColumn(const std::vector<TidyField>& fields)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const bool text = std::any_of(fields.begin(), fields.end(),
                                  [](const TidyField& f) { return std::holds_alternative<std::string>(f); });
    if (!text) {
        py::array_t<double> out(static_cast<py::ssize_t>(fields.size()));
        double* p = out.mutable_data();
        for (const TidyField& f : fields) *p++ = std::holds_alternative<double>(f) ? std::get<double>(f) : nan;
        return out;
    }
    py::list out(fields.size());
    for (size_t i = 0; i < fields.size(); ++i) {
        if (const auto* s = std::get_if<std::string>(&fields[i])) out[i] = py::str(*s);
        else out[i] = py::float_(std::holds_alternative<double>(fields[i]) ? std::get<double>(fields[i]) : nan);
    }
    return out;
}

py::list Axis(const std::vector<kvtables::ResultAxisVariable>& vars)
{
    py::list out;
    for (const auto& v : vars) {
        py::list labels;
        for (const auto& c : v.categories) labels.append(c.label);
        out.append(py::dict("name"_a = v.name, "labels"_a = labels));
    }
    return out;
}

// The labels of a record's categories, outermost first, joined as in cell names.
std::string Labels(const std::vector<kvtables::ResultAxisVariable>& vars, const std::vector<int>& at)
{
    std::string s;
    for (size_t i = 0; i < at.size() && i < vars.size(); ++i)
        s += (i ? " / " : "") + vars[i].categories[static_cast<size_t>(at[i])].label;
    return s;
}

py::list Tests(const ResultTable& table)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    auto number = [nan](double v) { return kvtables::IsMissingValue(v) ? nan : v; };
    py::list out;
    for (const kvtables::TestRecord& r : table.tests) {
        const auto& columns = table.columns[r.columnElement];
        py::object versus = py::none();
        if (r.kind != kvtables::TestKind::ChiSquare) versus = py::str(Labels(columns, r.versus));
        out.append(py::make_tuple(kvtables::TestKindName(r.kind), Labels(table.layers, r.layers),
                                  Labels(table.rows[r.rowElement], r.rows), Labels(columns, r.columns), versus,
                                  r.statistic, number(r.df), r.pValue, number(r.adjustedPValue), r.significant));
    }
    return out;
}

py::dict TableData(const ResultTable& table, size_t number)
{
    const kvtables::TidyLayout layout = kvtables::MakeTidyLayout({&table});
    std::vector<std::vector<TidyField>> fields(layout.header.size());
    kvtables::ForEachTidyRow(table, static_cast<double>(number), layout, [&](const std::vector<TidyField>& row) {
        for (size_t i = 0; i < row.size(); ++i) fields[i].push_back(row[i]);
    });
    py::list columns;
    for (const auto& column : fields) columns.append(TidyColumn(column));
    // The first column holds the table's number (ForEachTidyRow's `number`): an integer for pandas.
    py::array_t<long long> numbers(static_cast<py::ssize_t>(table.cells.size()));
    std::fill(numbers.mutable_data(), numbers.mutable_data() + numbers.size(), static_cast<long long>(number));
    columns[0] = numbers;

    // Each cell's place for the wide form: category indices (layers, rows,
    // columns, outermost first), the statistic, the value.
    // (Read by crosstab only, whose tables do not stack: one element on each axis.)
    const size_t depth = table.layers.size() + table.rows[0].size() + table.columns[0].size();
    py::array_t<int> cells({static_cast<py::ssize_t>(table.cells.size()), static_cast<py::ssize_t>(depth)});
    py::array_t<int> statistic(static_cast<py::ssize_t>(table.cells.size()));
    py::array_t<double> value(static_cast<py::ssize_t>(table.cells.size()));
    auto c = cells.mutable_unchecked<2>();
    for (size_t i = 0; i < table.cells.size(); ++i) {
        const kvtables::ResultCell& cell = table.cells[i];
        py::ssize_t j = 0;
        for (const auto* combo : {&cell.layers, &cell.rows, &cell.columns})
            for (size_t k = 0; k < combo->size() && j < static_cast<py::ssize_t>(depth); ++k)
                c(static_cast<py::ssize_t>(i), j++) = (*combo)[k];
        while (j < static_cast<py::ssize_t>(depth)) c(static_cast<py::ssize_t>(i), j++) = 0;
        statistic.mutable_at(static_cast<py::ssize_t>(i)) = cell.statistic;
        value.mutable_at(static_cast<py::ssize_t>(i)) =
            kvtables::IsMissingValue(cell.value) ? std::numeric_limits<double>::quiet_NaN() : cell.value;
    }
    py::list headings;
    for (const auto& s : table.statistics) headings.append(s.Heading());
    return py::dict("title"_a = table.title, "header"_a = layout.header, "columns"_a = columns,
                    "layers"_a = Axis(table.layers), "rows"_a = Axis(table.rows[0]),
                    "columns_axis"_a = Axis(table.columns[0]), "cells"_a = cells, "statistic"_a = statistic,
                    "statistics"_a = headings, "value"_a = value, "tests"_a = Tests(table));
}

// The result set itself goes along, opaque, for the renderers that write it whole.
py::dict Results(ResultSet results, const Request& request)
{
    py::list tables;
    for (size_t t = 0; t < results.tables.size(); ++t) tables.append(TableData(results.tables[t], t + 1));
    const long long skipped = results.skippedCases;
    return py::dict("tables"_a = tables, "skipped_cases"_a = skipped, "warnings"_a = request.warnings,
                    "results"_a = py::cast(std::move(results)));
}

py::bytes RenderXlsx(const ResultSet& results)
{
    std::string workbook;
    {
        py::gil_scoped_release release;
        workbook = kvtables::RenderXlsx(results);
    }
    return py::bytes(workbook);
}

// The engine run itself touches no Python object: the frame's arrays stay
// referenced by the caller, so other threads may run meanwhile.
ResultSet Run(const Request& request, VESK_InputCaseIterator& cases, const std::optional<std::string>& maxMemory)
{
    const kvtables::MemoryLimit limit = Limit(maxMemory);
    py::gil_scoped_release release;
    return kvtables::RunTables(request, cases, nullptr, limit);
}

py::dict RunCsv(const Request& parsed, const std::optional<std::string>& dictionaryText,
               const std::optional<std::string>& maxMemory)
{
    Request validated;
    ResultSet results = kvtables::RunOverData(
        parsed, ReadDictionary(parsed, dictionaryText),
        [&](Request& request, kvtables::DataInput& data, bool) {
            kvtables::ValidateRequest(request, data.cases->GetDataSource(),
                                      [&data](int varIndex) { return data.cases->WhyText(varIndex); });
            data.cases->SetWeightIndex(request.weightIndex);
            validated = request;
            return Run(request, *data.cases, maxMemory);
        });
    return Results(std::move(results), validated);
}

py::dict RunFrame(const Request& parsed, size_t rows, const std::vector<std::string>& names, const py::dict& columns,
                  const std::optional<std::string>& dictionaryText, const std::optional<std::string>& maxMemory)
{
    FrameRun run(parsed, rows, names, columns, FrameDictionary{dictionaryText, "dictionary", std::nullopt});
    return Results(Run(run.request, *run.cases, maxMemory), run.request);
}

// ---- a partitioned frame: profile each partition, aggregate each into a
// state, merge the states in partition order, read the tables of the last ----

// What each used column of a partition reads as when nothing describes it:
// name -> (type: 0 numeric or the string width, format width, decimals). The
// profiles of all partitions combine into the inferred dictionary.
py::dict FrameProfile(size_t rows, const std::vector<std::string>& names, const py::dict& columns)
{
    const kvaggr_python::FrameData frame = kvaggr_python::MakeFrameData(rows, names, columns, std::nullopt);
    py::dict out;
    for (size_t i = 0; i < names.size(); ++i) {
        if (!columns.contains(py::str(names[i]))) continue;
        const VESK_Variable* v = frame.dataset->GetVariable(static_cast<int>(i));
        out[py::str(names[i])] = py::make_tuple(v->GetType(), v->GetFormat().width, v->GetFormat().decimals);
    }
    return out;
}

py::bytes FrameState(const Request& parsed, size_t rows, const std::vector<std::string>& names,
                     const py::dict& columns, const FrameDictionary& dictionary,
                     const std::optional<std::string>& maxMemory)
{
    FrameRun run(parsed, rows, names, columns, dictionary);
    const kvtables::MemoryLimit limit = Limit(maxMemory);
    std::string state;
    {
        py::gil_scoped_release release;
        kvtables::TableBuilder builder(run.request, *run.cases);
        builder.FeedPart(nullptr, limit);
        state = builder.SaveState();
    }
    return py::bytes(state);
}

// The states merged in their order into a builder over `meta`, a partition
// without rows (the columns are what the states were built from).
template <typename Then>
auto MergeStates(const Request& parsed, const std::vector<std::string>& names, const py::dict& meta,
                 const FrameDictionary& dictionary, const std::vector<py::bytes>& states, Then then)
{
    FrameRun run(parsed, 0, names, meta, dictionary);
    std::vector<std::string> bytes(states.begin(), states.end());
    py::gil_scoped_release release;
    kvtables::TableBuilder builder(run.request, *run.cases);
    for (size_t i = 0; i < bytes.size(); ++i) builder.LoadState(bytes[i], "partition state " + std::to_string(i + 1));
    return then(builder, run.request);
}

py::bytes MergeFrameStates(const Request& parsed, const std::vector<std::string>& names, const py::dict& meta,
                           const FrameDictionary& dictionary, const std::vector<py::bytes>& states)
{
    const std::string merged = MergeStates(parsed, names, meta, dictionary, states,
                                           [](kvtables::TableBuilder& b, const Request&) { return b.SaveState(); });
    return py::bytes(merged);
}

py::dict FinishFrameStates(const Request& parsed, const std::vector<std::string>& names, const py::dict& meta,
                           const FrameDictionary& dictionary, const std::vector<py::bytes>& states,
                           const std::optional<std::string>& maxMemory)
{
    const kvtables::MemoryLimit limit = Limit(maxMemory);
    Request request;
    ResultSet results = MergeStates(parsed, names, meta, dictionary, states,
                                    [&](kvtables::TableBuilder& b, const Request& validated) {
                                        b.Complete();
                                        request = validated;
                                        return kvtables::ReadResults(b, limit);
                                    });
    return Results(std::move(results), request);
}

}  // namespace

PYBIND11_MODULE(_kvaggr, m)
{
    m.doc() = "The engine behind kvaggr: use the functions of the kvaggr package.";
    static py::exception<UserError> requestError(m, "RequestError", PyExc_ValueError);
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const UserError& e) {
            PyErr_SetString(requestError.ptr(), e.what());
        } catch (const HostError& e) {
            PyErr_SetString(requestError.ptr(), e.what());
        }
    });

    py::class_<Request>(m, "Request")
        .def_property_readonly("names_used", &kvtables::NamesUsed)
        .def_property_readonly("data", [](const Request& r) { return r.data; })
        .def_property_readonly("dictionary_path", [](const Request& r) { return r.dictionaryPath; });
    py::class_<ResultSet>(m, "ResultSet");
    m.def("render_xlsx", &RenderXlsx, "results"_a);
    m.def("parse_request", &kvtables::ParseRequest, "text"_a, "name"_a, "base_dir"_a, "data_required"_a);
    m.def("load_request", &kvtables::LoadRequest, "path"_a, "data_required"_a);
    m.def("run_csv", &RunCsv, "request"_a, "dictionary"_a, "max_memory"_a);
    m.def("run_frame", &RunFrame, "request"_a, "rows"_a, "names"_a, "columns"_a, "dictionary"_a, "max_memory"_a);

    py::class_<FrameDictionary>(m, "FrameDictionary")
        .def(py::init([](std::optional<std::string> text, std::string name, std::optional<std::string> inferred) {
                 return FrameDictionary{std::move(text), std::move(name), std::move(inferred)};
             }),
             "text"_a, "name"_a, "inferred"_a)
        .def(py::pickle(
            [](const FrameDictionary& d) { return py::make_tuple(d.text, d.name, d.inferred); },
            [](const py::tuple& t) {
                return FrameDictionary{t[0].cast<std::optional<std::string>>(), t[1].cast<std::string>(),
                                       t[2].cast<std::optional<std::string>>()};
            }));
    m.def(
        "dictionary_names",
        [](const std::string& text, const std::string& name) {
            const std::optional<DataDictionary> dictionary = ReadDictionary(Request(), text, name);
            std::vector<std::string> names;
            for (const VESK_Variable& v : dictionary->variables) names.push_back(v.GetName());
            return names;
        },
        "text"_a, "name"_a);
    m.def("frame_profile", &FrameProfile, "rows"_a, "names"_a, "columns"_a);
    m.def("frame_state", &FrameState, "request"_a, "rows"_a, "names"_a, "columns"_a, "dictionary"_a,
          "max_memory"_a);
    m.def("merge_states", &MergeFrameStates, "request"_a, "names"_a, "meta"_a, "dictionary"_a, "states"_a);
    m.def("finish_states", &FinishFrameStates, "request"_a, "names"_a, "meta"_a, "dictionary"_a, "states"_a,
          "max_memory"_a);
    m.attr("TEST_COLUMNS") = std::vector<std::string>(std::begin(kTestColumns), std::end(kTestColumns));
}
