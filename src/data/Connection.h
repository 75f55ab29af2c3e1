#pragma once
// The session connection (the suite's ADO connection) and its commands. Statements are the
// suite's SQL Server dialect, text for text; each backend takes them as they are.
#include <memory>
#include <string>
#include <vector>

#include "data/Dialect.h"
#include "data/Recordset.h"

namespace data {

enum class CommandType { Text = 1, StoredProc = 4 };
enum class ParamDirection { Input = 1, Output = 2, InputOutput = 3, ReturnValue = 4 };

struct Parameter {
    std::string name;
    ParamDirection direction = ParamDirection::Input;
    Value::Type type = Value::Type::Null;  // declared type of the parameter
    Value value;
};

class Command {
public:
    virtual ~Command() = default;
    // Asks the provider to describe the parameters: for a stored procedure position 0 is
    // the return value and the procedure's own parameters follow; for text, one per "?".
    virtual void refreshParameters() = 0;
    // The parameter collection; reading it refreshes it first when it was never filled.
    virtual std::vector<Parameter>& parameters() = 0;
    // Sets a parameter value by position (refreshing first when needed); out of range: 3265.
    virtual void setParameter(size_t pos, Value v) = 0;
    virtual const Value& parameter(size_t pos) = 0;
    // Runs with the values set on the parameters; output parameters are readable after.
    virtual RecordsetPtr execute() = 0;
    // Runs with the values passed positionally as an array (text commands with "?").
    virtual RecordsetPtr execute(const std::vector<Value>& args) = 0;
    virtual const std::string& text() const = 0;
};

using CommandPtr = std::unique_ptr<Command>;

class Connection {
public:
    virtual ~Connection() = default;
    virtual bool isOpen() const = 0;
    // A statement without a result; returns the rows affected (-1 when unknown). Inside a
    // transaction a backend may hold a write back until the next read, procedure or commit, so
    // that a save's many writes travel together; its failure then surfaces there.
    virtual long execute(const std::string& sql) = 0;
    virtual RecordsetPtr open(const std::string& sql, CursorType cursor = CursorType::ForwardOnly,
                              LockType lock = LockType::ReadOnly) = 0;
    virtual CommandPtr command(const std::string& text, CommandType type = CommandType::Text) = 0;
    virtual void beginTrans() = 0;
    virtual void commitTrans() = 0;
    virtual void rollbackTrans() = 0;
    virtual bool inTransaction() const = 0;
    // Until the transaction ends, no other connection takes the same lock: SQL Server's
    // application lock, which waits at most the lock timeout; the embedded database's
    // transaction holds the write lock from its start already.
    virtual void lockForTransaction(const std::string& resource) { (void)resource; }
    virtual Dialect dialect() const { return {}; }
};

using ConnectionPtr = std::shared_ptr<Connection>;

// A connection that passes every call to another one: the base of decorators that change one
// call (a dry run's commit, a test's pause before it) and leave the rest alone.
class ForwardingConnection : public Connection {
public:
    explicit ForwardingConnection(ConnectionPtr inner) : inner_(std::move(inner)) {}
    bool isOpen() const override { return inner_->isOpen(); }
    long execute(const std::string& sql) override { return inner_->execute(sql); }
    RecordsetPtr open(const std::string& sql, CursorType cursor, LockType lock) override {
        return inner_->open(sql, cursor, lock);
    }
    CommandPtr command(const std::string& text, CommandType type) override {
        return inner_->command(text, type);
    }
    void beginTrans() override { inner_->beginTrans(); }
    void commitTrans() override { inner_->commitTrans(); }
    void rollbackTrans() override { inner_->rollbackTrans(); }
    bool inTransaction() const override { return inner_->inTransaction(); }
    void lockForTransaction(const std::string& resource) override { inner_->lockForTransaction(resource); }
    Dialect dialect() const override { return inner_->dialect(); }

protected:
    Connection& inner() { return *inner_; }

private:
    ConnectionPtr inner_;
};

// The connection object the suite auto-creates when none was set: never opened, every call
// raises "Operation is not allowed when the object is closed." (3704).
ConnectionPtr makeUnopenedConnection();

}  // namespace data
