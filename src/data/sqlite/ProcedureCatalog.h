#pragma once
// The embedded database's stored procedures: one file NAME.sql per procedure, built into the
// program (db/sqlite/procedures) or, for an integrator's own, read from a folder.
// Each file declares its parameters on "-- param @Name type [output]" lines (types int,
// smallint, double, text, date) and holds one SQLite statement that names them as @Name.
// Output parameters take the same-named column of the statement's first row.
#include <map>
#include <string>
#include <vector>

#include "common/Value.h"

namespace data::sqlite {

struct ProcedureParameter {
    enum class Type { Int, SmallInt, Double, Text, Date };
    std::string name;  // with its "@"
    Type type = Type::Int;
    bool output = false;
};

struct Procedure {
    std::string name;
    std::vector<ProcedureParameter> parameters;
    std::string body;
};

// Reads a procedure file's text; raises on a malformed declaration.
Procedure parseProcedure(const std::string& name, const std::string& text);

// The value as the parameter's declared type takes it: numbers for int and double, ISO
// text for date ("yyyymmdd", "dd/MMM/yyyy" and the other suite forms are read). Raises the
// server's conversion error on a value that does not convert.
common::Value convertArgument(const ProcedureParameter& p, const common::Value& v);

class ProcedureCatalog {
public:
    // An empty folder means the procedures built into the program.
    explicit ProcedureCatalog(std::string folder) : folder_(std::move(folder)) {}
    // Looks the name up without regard to case, as the server does; an unknown name raises
    // "Could not find stored procedure 'NAME'.".
    const Procedure& find(const std::string& name);
    const std::string& folder() const { return folder_; }

private:
    std::string folder_;
    std::map<std::string, Procedure> loaded_;  // by lower-case name
};

}  // namespace data::sqlite
