#include <algorithm>
#include <bit>

#include "common/Conv.h"
#include "common/Utf8.h"
#include "data/odbc/OdbcLink.h"

namespace data::odbc::detail {

namespace {

// The kind a value of this type asks for; dates go as timestamps.
Kind kindOfType(Value::Type t) {
    switch (t) {
        case Value::Type::Integer:
            return Kind::Integer;
        case Value::Type::Double:
            return Kind::Double;
        case Value::Type::Date:
            return Kind::Timestamp;
        default:
            return Kind::Text;
    }
}

// A null asks for no kind.
std::optional<Kind> kindOfValue(const Value& v) {
    if (v.isNull()) return std::nullopt;
    return kindOfType(v.type());
}

// The kind that carries every value, once a position has one it keeps it where it can: numbers
// widen to double, anything mixed goes as text.
Kind commonKind(std::optional<Kind> a, Kind b) {
    if (!a || *a == b) return b;
    if ((*a == Kind::Integer && b == Kind::Double) || (*a == Kind::Double && b == Kind::Integer))
        return Kind::Double;
    return Kind::Text;
}

}  // namespace

std::u16string ParamColumn::textOf(const Value& v) {
    return common::toUtf16(v.asDate() ? dateText(*v.asDate()) : v.toText());
}

size_t ParamColumn::widthFor(std::span<const Value* const> values, size_t outputRoom) {
    size_t longest = outputRoom;
    for (const Value* v : values)
        if (!v->isNull()) longest = std::max(longest, textOf(*v).size());
    return longest + 1;
}

void ParamColumn::layout(Kind k, size_t n, size_t units) {
    kind = k, rows = n;
    // Room to grow, so that a slightly longer text later does not mean a new layout.
    width = kind == Kind::Text ? std::max<size_t>(units <= 4001 ? std::bit_ceil(units) : units, 64) : 1;
    if (kind == Kind::Text && units <= 4001) width = std::min<size_t>(width, 4001);
    integers.assign(kind == Kind::Integer ? n : 0, 0);
    reals.assign(kind == Kind::Double ? n : 0, 0);
    stamps.assign(kind == Kind::Timestamp ? n : 0, SQL_TIMESTAMP_STRUCT{});
    text.assign(kind == Kind::Text ? n * width : 0, u'\0');
    indicators.assign(n, 0);
}

void ParamColumn::fill(std::span<const Value* const> values) {
    for (size_t i = 0; i < values.size(); ++i) {
        const Value& v = *values[i];
        indicators[i] = v.isNull() ? SQL_NULL_DATA : 0;
        if (v.isNull()) continue;
        if (kind == Kind::Integer) integers[i] = v.toInt64();
        if (kind == Kind::Double) reals[i] = v.toDouble();
        if (kind == Kind::Timestamp) stamps[i] = toStruct(v.toDate());
        if (kind != Kind::Text) continue;
        const std::u16string t = textOf(v);
        std::fill(std::copy(t.begin(), t.end(), text.begin() + static_cast<std::ptrdiff_t>(i * width)),
                  text.begin() + static_cast<std::ptrdiff_t>((i + 1) * width), u'\0');
        indicators[i] = static_cast<SQLLEN>(t.size() * sizeof(char16_t));
    }
}

void ParamColumn::bind(Handle& s, SQLUSMALLINT position, SQLSMALLINT io) {
    SQLSMALLINT cType = SQL_C_WCHAR, sqlType = SQL_WVARCHAR, digits = 0;
    SQLULEN size = 4000;
    SQLPOINTER data = text.data();
    SQLLEN length = static_cast<SQLLEN>(width * sizeof(char16_t));
    switch (kind) {
        case Kind::Integer:
            cType = SQL_C_SBIGINT, sqlType = SQL_BIGINT, size = 19, data = integers.data(),
            length = sizeof(SQLBIGINT);
            break;
        case Kind::Double:
            cType = SQL_C_DOUBLE, sqlType = SQL_DOUBLE, size = 15, data = reals.data(),
            length = sizeof(SQLDOUBLE);
            break;
        case Kind::Timestamp:
            cType = SQL_C_TYPE_TIMESTAMP, sqlType = SQL_TYPE_TIMESTAMP, size = 23, digits = 3,
            data = stamps.data(), length = sizeof(SQL_TIMESTAMP_STRUCT);
            break;
        default:
            if (width - 1 > 4000) sqlType = SQL_WLONGVARCHAR, size = width - 1;
            break;
    }
    s.check(
        SQLBindParameter(s.h, position, io, cType, sqlType, size, digits, data, length, indicators.data()));
}

Value ParamColumn::read(size_t row) const {
    if (indicators[row] == SQL_NULL_DATA) return Value();
    switch (kind) {
        case Kind::Integer:
            return Value(static_cast<int64_t>(integers[row]));
        case Kind::Double:
            return Value(static_cast<double>(reals[row]));
        case Kind::Timestamp:
            return Value(fromStruct(stamps[row]));
        default:
            break;
    }
    const size_t n = indicators[row] == SQL_NO_TOTAL
                         ? width - 1
                         : std::min(static_cast<size_t>(indicators[row]) / sizeof(char16_t), width - 1);
    return Value(common::fromUtf16(std::u16string_view(text.data() + row * width, n)));
}

Prepared::Prepared(Link& link, const std::string& sql) : handle(link) {
    std::u16string text = common::toUtf16(sql);
    handle.check(SQLPrepareW(handle.h, wide(text), SQL_NTS));
    handle.check(SQLNumParams(handle.h, &count));
    kinds.resize(static_cast<size_t>(count));
    columns.resize(static_cast<size_t>(count));
}

Outcome Prepared::run(std::span<const std::vector<Value>> rows) {
    SQLFreeStmt(handle.h, SQL_CLOSE);
    const size_t n = std::max<size_t>(rows.size(), 1);
    const Value null;
    std::vector<std::vector<const Value*>> values(columns.size(), std::vector<const Value*>(n, &null));
    bool rebind = false;
    for (size_t p = 0; p < columns.size(); ++p) {
        for (size_t r = 0; r < rows.size(); ++r)
            if (p < rows[r].size()) values[p][r] = &rows[r][p];
        for (const Value* v : values[p])
            if (auto k = kindOfValue(*v)) kinds[p] = commonKind(kinds[p], *k);
        const Kind kind = kinds[p].value_or(Kind::Text);
        const size_t units = kind == Kind::Text ? ParamColumn::widthFor(values[p]) : 1;
        if (!columns[p].fits(kind, n, units)) rebind = true;
    }
    for (size_t p = 0; rebind && p < columns.size(); ++p) {
        const Kind kind = kinds[p].value_or(Kind::Text);
        const size_t units = kind == Kind::Text ? ParamColumn::widthFor(values[p]) : 1;
        // An array is laid out for a full one at once, so that a longer list does not rebind.
        const size_t rowsRoom = std::max({n, columns[p].rows, n > 1 ? kArrayRows : 1});
        columns[p].layout(kind, rowsRoom, std::max(units, kind == columns[p].kind ? columns[p].width : 1));
        columns[p].bind(handle, static_cast<SQLUSMALLINT>(p + 1), SQL_PARAM_INPUT);
    }
    for (size_t p = 0; p < columns.size(); ++p) columns[p].fill(values[p]);
    std::vector<SQLUSMALLINT> status(n, SQL_PARAM_SUCCESS);
    SQLULEN processed = 0;
    handle.check(SQLSetStmtAttr(handle.h, SQL_ATTR_PARAMSET_SIZE, reinterpret_cast<SQLPOINTER>(n), 0));
    handle.check(SQLSetStmtAttr(handle.h, SQL_ATTR_PARAM_STATUS_PTR, status.data(), 0));
    handle.check(SQLSetStmtAttr(handle.h, SQL_ATTR_PARAMS_PROCESSED_PTR, &processed, 0));
    Diagnostics info;
    Outcome out = collect(handle, SQLExecute(handle.h), &info);
    // A row of an array that failed makes the execution succeed with a warning only.
    if (n > 1 && std::find(status.begin(), status.end(), SQL_PARAM_ERROR) != status.end())
        handle.link.raise(info, SQL_ERROR);
    return out;
}

std::vector<Parameter> describeProcedure(Link& link, const std::string& qualified) {
    // "[db].[schema].[name]": the catalog wants the schema and the name apart, unquoted.
    auto unbracket = [](std::string part) {
        return part.size() >= 2 && part.front() == '[' && part.back() == ']' ? part.substr(1, part.size() - 2)
                                                                             : part;
    };
    auto pattern = [&](const std::string& name) {  // "_" and "%" match only themselves
        std::u16string escape(8, u'\0');
        SQLSMALLINT bytes = 0;
        std::string esc;
        if (SQL_SUCCEEDED(SQLGetInfoW(link.dbc, SQL_SEARCH_PATTERN_ESCAPE, escape.data(), 16, &bytes)))
            esc = common::fromUtf16(std::u16string_view(escape.data(), static_cast<size_t>(bytes) / 2));
        std::string out;
        for (char c : name) out += (c == '_' || c == '%' ? esc : "") + std::string(1, c);
        return out;
    };
    std::string schema, name = qualified;
    if (auto dot = name.rfind('.'); dot != std::string::npos) {
        schema = name.substr(0, dot);
        name = name.substr(dot + 1);
        if (auto inner = schema.rfind('.'); inner != std::string::npos) schema = schema.substr(inner + 1);
    }
    std::u16string schemaText = common::toUtf16(pattern(unbracket(schema)));
    std::u16string nameText = common::toUtf16(pattern(unbracket(name)));
    Handle s(link);
    Outcome out =
        collect(s, SQLProcedureColumnsW(s.h, nullptr, 0, schema.empty() ? nullptr : wide(schemaText),
                                        schema.empty() ? 0 : SQL_NTS, wide(nameText), SQL_NTS, nullptr, 0));
    RecordsetPtr rs = recordsOf(out);
    std::vector<Parameter> params;
    // Columns of the catalog result: 2 schema, 3 name, 4 column, 5 kind, 6 SQL type. A catalog
    // may answer namesakes in other schemas too: ours is the dbo one, which a bare name runs for
    // a caller whose default schema is dbo, else the first answered.
    auto procedureOf = [](const std::vector<Value>& row) {
        return row[1].joinText() + "." + row[2].joinText();
    };
    const auto& rows = rs->rows();
    const auto dbo = std::find_if(rows.begin(), rows.end(), [](const auto& row) {
        return common::EqualsNoCase(row[1].joinText(), "dbo");
    });
    const std::string owner = dbo != rows.end() ? procedureOf(*dbo)
                              : rows.empty()    ? ""
                                                : procedureOf(rows.front());
    for (const auto& row : rows) {
        const std::string procedure = procedureOf(row);
        const int64_t kind = row[4].isNull() ? SQL_PARAM_TYPE_UNKNOWN : row[4].toInt64();
        if (procedure != owner || kind == SQL_RESULT_COL) continue;
        Parameter p;
        p.name = row[3].joinText();
        p.type =
            valueTypeOf(kindOf(static_cast<SQLSMALLINT>(row[5].isNull() ? SQL_VARCHAR : row[5].toInt64())));
        p.direction = kind == SQL_RETURN_VALUE         ? ParamDirection::ReturnValue
                      : kind == SQL_PARAM_OUTPUT       ? ParamDirection::Output
                      : kind == SQL_PARAM_INPUT_OUTPUT ? ParamDirection::InputOutput
                                                       : ParamDirection::Input;
        if (p.direction == ParamDirection::ReturnValue)
            params.insert(params.begin(), std::move(p));
        else
            params.push_back(std::move(p));
    }
    return params;
}

RecordsetPtr callProcedure(Link& link, const std::string& name, std::vector<Parameter>& params) {
    const bool hasReturn = !params.empty() && params[0].direction == ParamDirection::ReturnValue;
    std::string sql = hasReturn ? "{? = call " : "{call ";
    sql += name;
    for (size_t i = hasReturn ? 1 : 0; i < params.size(); ++i)
        sql += i == (hasReturn ? 1u : 0u) ? "(?" : ", ?";
    sql += params.size() > (hasReturn ? 1u : 0u) ? ")}" : "}";
    Handle s(link);
    std::vector<ParamColumn> columns(params.size());
    const Value null;
    for (size_t i = 0; i < params.size(); ++i) {
        const Parameter& p = params[i];
        const bool output = p.direction != ParamDirection::Input;
        const bool input = p.direction == ParamDirection::Input || p.direction == ParamDirection::InputOutput;
        const Value* v = input ? &p.value : &null;
        const Kind kind =
            p.type != Value::Type::Null ? kindOfType(p.type) : kindOfValue(*v).value_or(Kind::Text);
        columns[i].layout(
            kind, 1, kind == Kind::Text ? ParamColumn::widthFor(std::span(&v, 1), output ? 4000 : 0) : 1);
        columns[i].fill(std::span(&v, 1));
        columns[i].bind(s, static_cast<SQLUSMALLINT>(i + 1),
                        !output ? SQL_PARAM_INPUT
                        : input ? SQL_PARAM_INPUT_OUTPUT
                                : SQL_PARAM_OUTPUT);
    }
    std::u16string text = common::toUtf16(sql);
    Outcome out = collect(s, SQLExecDirectW(s.h, wide(text), SQL_NTS));
    for (size_t i = 0; i < params.size(); ++i)
        if (params[i].direction != ParamDirection::Input) params[i].value = columns[i].read(0);
    return recordsOf(out);
}

}  // namespace data::odbc::detail
