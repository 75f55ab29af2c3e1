#pragma once
// Statement trace: a decorator that records every statement and bound value, for tests
// (exact statement texts) and for support (payacclink --trace-sql FILE).
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/Files.h"
#include "data/Connection.h"

namespace data {

struct TraceEntry {
    enum class Kind { Execute, Open, Command, Begin, Commit, Rollback } kind;
    std::string text;           // statement or procedure name
    std::vector<Value> values;  // bound values, in order
};

class TraceConnection : public Connection {
public:
    explicit TraceConnection(ConnectionPtr inner);
    ~TraceConnection() override;
    // Also writes one line per entry to this file, which it replaces (never writing through a
    // link) with this run's statements. Raises common::FileError when it cannot be made.
    void setFile(const std::string& path);
    const std::vector<TraceEntry>& entries() const { return entries_; }
    // Statement texts only (execute, open and command executions), in order.
    std::vector<std::string> statements() const;
    void clear() { entries_.clear(); }
    // Called before each traced call; a test may throw from it to inject a fault.
    std::function<void(const TraceEntry&)> beforeEach;
    ConnectionPtr inner() const { return inner_; }

    bool isOpen() const override;
    long execute(const std::string& sql) override;
    RecordsetPtr open(const std::string& sql, CursorType cursor, LockType lock) override;
    CommandPtr command(const std::string& text, CommandType type) override;
    void beginTrans() override;
    void commitTrans() override;
    void rollbackTrans() override;
    bool inTransaction() const override;
    void lockForTransaction(const std::string& resource) override { inner_->lockForTransaction(resource); }
    Dialect dialect() const override { return inner_->dialect(); }

    void record(TraceEntry e);  // used by traced commands

private:
    ConnectionPtr inner_;
    std::vector<TraceEntry> entries_;
    std::unique_ptr<common::OutputFile> file_;
};

}  // namespace data
