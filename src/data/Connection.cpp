#include "data/Connection.h"

#include "common/Error.h"

namespace data {

namespace {

// The connection object the suite creates on demand: it was never opened, so it refuses
// every statement the way the closed provider object does.
class UnopenedConnection : public Connection {
public:
    bool isOpen() const override { return false; }
    long execute(const std::string&) override { closed(); }
    RecordsetPtr open(const std::string&, CursorType, LockType) override { closed(); }
    CommandPtr command(const std::string&, CommandType) override { closed(); }
    void beginTrans() override { closed(); }
    void commitTrans() override { closed(); }
    void rollbackTrans() override { closed(); }
    bool inTransaction() const override { return false; }
    void lockForTransaction(const std::string&) override { closed(); }

private:
    [[noreturn]] static void closed() {
        common::raise(common::err::ObjectClosed, "ADODB.Connection",
                      "Operation is not allowed when the object is closed.");
    }
};

}  // namespace

ConnectionPtr makeUnopenedConnection() { return std::make_shared<UnopenedConnection>(); }

}  // namespace data
