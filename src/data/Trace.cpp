#include "data/Trace.h"

#include "common/Conv.h"
#include "common/Error.h"

namespace data {

namespace {

const char* kindName(TraceEntry::Kind k) {
    switch (k) {
        case TraceEntry::Kind::Execute:
            return "EXECUTE";
        case TraceEntry::Kind::Open:
            return "OPEN";
        case TraceEntry::Kind::Command:
            return "COMMAND";
        case TraceEntry::Kind::Begin:
            return "BEGIN";
        case TraceEntry::Kind::Commit:
            return "COMMIT";
        case TraceEntry::Kind::Rollback:
            return "ROLLBACK";
    }
    return "";
}

std::string valueText(const Value& v) {
    switch (v.type()) {
        case Value::Type::Null:
            return "NULL";
        case Value::Type::Text:
            return "'" + *v.asText() + "'";
        case Value::Type::Date:
            return "#" + common::isoDate(*v.asDate()) + "#";
        default:
            return v.toText();
    }
}

// One line per entry, so a support file can be read with grep.
std::string traceLine(const TraceEntry& e) {
    std::string line = kindName(e.kind);
    if (!e.text.empty()) {
        line += "\t";
        for (char c : e.text) line += (c == '\r' || c == '\n') ? ' ' : c;
    }
    if (!e.values.empty()) {
        line += "\t[";
        for (size_t i = 0; i < e.values.size(); ++i) {
            if (i) line += ", ";
            line += valueText(e.values[i]);
        }
        line += "]";
    }
    return line;
}

// A command of the inner connection whose executions are recorded with their values.
class TracedCommand : public Command {
public:
    TracedCommand(TraceConnection& owner, CommandPtr inner) : owner_(owner), inner_(std::move(inner)) {}

    void refreshParameters() override { inner_->refreshParameters(); }
    std::vector<Parameter>& parameters() override { return inner_->parameters(); }
    void setParameter(size_t pos, Value v) override { inner_->setParameter(pos, std::move(v)); }
    const Value& parameter(size_t pos) override { return inner_->parameter(pos); }
    const std::string& text() const override { return inner_->text(); }

    RecordsetPtr execute() override {
        TraceEntry e{TraceEntry::Kind::Command, inner_->text(), {}};
        for (const Parameter& p : inner_->parameters())
            if (p.direction != ParamDirection::ReturnValue && p.direction != ParamDirection::Output)
                e.values.push_back(p.value);
        owner_.record(std::move(e));
        return inner_->execute();
    }

    RecordsetPtr execute(const std::vector<Value>& args) override {
        owner_.record(TraceEntry{TraceEntry::Kind::Command, inner_->text(), args});
        return inner_->execute(args);
    }

private:
    TraceConnection& owner_;
    CommandPtr inner_;
};

}  // namespace

TraceConnection::TraceConnection(ConnectionPtr inner) : inner_(std::move(inner)) {}

TraceConnection::~TraceConnection() {
    try {
        if (file_) file_->commit();
    } catch (const common::FileError&) {
        // The lines written so far are in the file; there is no one left to tell.
    }
}

void TraceConnection::setFile(const std::string& path) {
    auto file = std::make_unique<common::OutputFile>(path);
    // Named at once: a run that dies still leaves the statements that led there.
    file->publish();
    file_ = std::move(file);
}

std::vector<std::string> TraceConnection::statements() const {
    std::vector<std::string> out;
    for (const TraceEntry& e : entries_)
        if (e.kind == TraceEntry::Kind::Execute || e.kind == TraceEntry::Kind::Open ||
            e.kind == TraceEntry::Kind::Command)
            out.push_back(e.text);
    return out;
}

void TraceConnection::record(TraceEntry e) {
    if (beforeEach) beforeEach(e);
    if (file_) {
        try {
            file_->write(traceLine(e) + "\n");
            file_->flush();
        } catch (const common::FileError& error) {
            common::raise(75, "QORPayAccLinking", std::string("Path/File access error: ") + error.what());
        }
    }
    entries_.push_back(std::move(e));
}

bool TraceConnection::isOpen() const { return inner_->isOpen(); }

long TraceConnection::execute(const std::string& sql) {
    record({TraceEntry::Kind::Execute, sql, {}});
    return inner_->execute(sql);
}

RecordsetPtr TraceConnection::open(const std::string& sql, CursorType cursor, LockType lock) {
    record({TraceEntry::Kind::Open, sql, {}});
    return inner_->open(sql, cursor, lock);
}

CommandPtr TraceConnection::command(const std::string& text, CommandType type) {
    return std::make_unique<TracedCommand>(*this, inner_->command(text, type));
}

void TraceConnection::beginTrans() {
    record({TraceEntry::Kind::Begin, {}, {}});
    inner_->beginTrans();
}

void TraceConnection::commitTrans() {
    record({TraceEntry::Kind::Commit, {}, {}});
    inner_->commitTrans();
}

void TraceConnection::rollbackTrans() {
    record({TraceEntry::Kind::Rollback, {}, {}});
    inner_->rollbackTrans();
}

bool TraceConnection::inTransaction() const { return inner_->inTransaction(); }

}  // namespace data
