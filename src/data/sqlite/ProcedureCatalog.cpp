#include "data/sqlite/ProcedureCatalog.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "data/sqlite/Resources.h"
#include "data/sqlite/TsqlAdapter.h"

namespace data::sqlite {

namespace {

using common::Value;

[[noreturn]] void fail(const std::string& message) {
    common::raise(common::err::Database, kErrorSource, message);
}

std::string trimAll(std::string_view s) {
    size_t b = 0, e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
    return std::string(s.substr(b, e - b));
}

}  // namespace

Procedure parseProcedure(const std::string& name, const std::string& text) {
    Procedure p;
    p.name = name;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        std::string t = trimAll(line);
        if (t.rfind("--", 0) == 0) {
            std::istringstream words(t.substr(2));
            std::string keyword;
            words >> keyword;
            if (common::LCase(keyword) == "param") {
                ProcedureParameter param;
                std::string type, direction;
                words >> param.name >> type >> direction;
                if (param.name.size() < 2 || param.name[0] != '@')
                    fail("Procedure " + name + ": a parameter name must start with @: " + t);
                std::string ty = common::LCase(type);
                if (ty == "int")
                    param.type = ProcedureParameter::Type::Int;
                else if (ty == "smallint")
                    param.type = ProcedureParameter::Type::SmallInt;
                else if (ty == "double")
                    param.type = ProcedureParameter::Type::Double;
                else if (ty == "text")
                    param.type = ProcedureParameter::Type::Text;
                else if (ty == "date")
                    param.type = ProcedureParameter::Type::Date;
                else
                    fail("Procedure " + name + ": unknown parameter type '" + type + "'");
                std::string dir = common::LCase(direction);
                if (dir == "output" || dir == "out")
                    param.output = true;
                else if (!dir.empty())
                    fail("Procedure " + name + ": unknown parameter direction '" + direction + "'");
                p.parameters.push_back(std::move(param));
                continue;
            }
        }
        p.body += line;
        p.body += '\n';
    }
    if (trimAll(p.body).empty()) fail("Procedure " + name + " has no statement.");
    return p;
}

Value convertArgument(const ProcedureParameter& p, const Value& v) {
    using T = ProcedureParameter::Type;
    if (v.isNull()) return v;
    const char* typeName = p.type == T::Date ? "datetime" : p.type == T::Double ? "float" : "int";
    auto failConversion = [&]() -> Value {
        std::string from = v.type() == Value::Type::Text ? "varchar" : "the value";
        fail("Error converting data type " + from + " to " + typeName + ".");
    };
    switch (p.type) {
        case T::Int:
        case T::SmallInt: {
            if (const int64_t* i = v.asInteger()) return *i;
            if (const double* d = v.asDouble()) return static_cast<int64_t>(std::trunc(*d));
            if (const std::string* s = v.asText()) {
                if (!common::IsNumeric(*s)) return failConversion();
                return static_cast<int64_t>(std::trunc(common::CDbl(*s)));
            }
            return failConversion();
        }
        case T::Double: {
            if (v.isNumeric()) return v.toDouble();
            if (const std::string* s = v.asText(); s && common::IsNumeric(*s)) return common::CDbl(*s);
            return failConversion();
        }
        case T::Text:
            if (const common::DateTime* d = v.asDate()) return common::isoDate(*d);
            return v.toText();
        case T::Date: {
            if (const common::DateTime* d = v.asDate()) return common::isoDate(*d);
            if (const std::string* s = v.asText()) {
                auto d = common::parseDate(*s);
                if (!d) return failConversion();
                return common::isoDate(*d);
            }
            return failConversion();
        }
    }
    return v;
}

const Procedure& ProcedureCatalog::find(const std::string& name) {
    namespace fs = std::filesystem;
    const std::string key = common::LCase(name);
    if (auto it = loaded_.find(key); it != loaded_.end()) return it->second;
    if (folder_.empty()) {
        constexpr std::string_view prefix = "procedures/", suffix = ".sql";
        for (const EmbeddedFile& f : embeddedFiles()) {
            if (!f.path.starts_with(prefix) || !f.path.ends_with(suffix)) continue;
            std::string stem(f.path.substr(prefix.size(), f.path.size() - prefix.size() - suffix.size()));
            if (common::LCase(stem) != key) continue;
            return loaded_.emplace(key, parseProcedure(stem, std::string(f.text))).first->second;
        }
        fail("Could not find stored procedure '" + name + "'.");
    }
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder_, ec)) {
        const fs::path& path = entry.path();
        if (path.extension() != ".sql" || common::LCase(path.stem().string()) != key) continue;
        std::ifstream in(path, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        if (!in) fail("Cannot read the procedure file " + path.string());
        return loaded_.emplace(key, parseProcedure(path.stem().string(), text.str())).first->second;
    }
    fail("Could not find stored procedure '" + name + "'.");
}

}  // namespace data::sqlite
