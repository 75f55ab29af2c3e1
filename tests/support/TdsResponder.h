#pragma once
// A test instrument, not a product part: a TDS 7.4 responder on 127.0.0.1 that the real FreeTDS
// driver talks to through unixODBC. It answers from an embedded database through the program's
// own T-SQL adapter and procedure catalog, and records what went over the wire, so the tests
// see the client side as a server would: parameter types and declarations, round trips,
// transaction requests, text as received. It proves nothing of locking, plans or collations:
// those need a real server (scripts/sqlserver-smoke).
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace testsupport {

// One statement or procedure call as it arrived.
struct WireCall {
    std::string kind;                 // "batch", "rpc", "begin", "commit", "rollback", "attention"
    std::string name;                 // the procedure: sp_executesql, sp_prepare, ... or the one called
    std::string text;                 // the statement text as received, in UTF-8
    std::string declarations;         // the parameter declarations ("@P1 nvarchar(4000),@P2 bigint")
    std::vector<std::string> types;   // each value's type as the wire carried it ("nvarchar(4000)")
    std::vector<std::string> values;  // each value as text (Null as "NULL")
};

// One message from the client and its answer: one round trip.
struct WireRequest {
    std::vector<WireCall> calls;
};

class TdsResponder {
public:
    explicit TdsResponder(std::string databasePath);
    ~TdsResponder();
    TdsResponder(const TdsResponder&) = delete;
    TdsResponder& operator=(const TdsResponder&) = delete;

    int port() const { return port_; }
    // A FreeTDS connection string for it, without ClientCharset.
    std::string connectionString() const;
    // The requests since the start or the last clear, logins not counted.
    std::vector<WireRequest> record() const;
    void clearRecord();
    // The next request whose text contains `fragment` gets no answer: its connection is closed,
    // as a server that went away would.
    void dropOn(const std::string& fragment);
    // What the server says of the database's level (0: no row, as where it cannot be read), and
    // what sp_getapplock returns (below 0: not granted).
    void setCompatibilityLevel(int level) { compatibilityLevel_ = level; }
    void setApplockResult(int result) { applockResult_ = result; }

private:
    struct Client;
    void acceptLoop();
    void serve(int fd);
    friend struct Client;

    std::string database_;
    std::atomic<int> compatibilityLevel_ = 150, applockResult_ = 0;
    int listener_ = -1;
    int port_ = 0;
    std::atomic<bool> stopping_{false};
    std::thread acceptor_;
    mutable std::mutex mutex_;
    std::vector<std::thread> clients_;
    std::vector<int> clientFds_;
    std::vector<WireRequest> record_;
    std::string dropOn_;
};

}  // namespace testsupport
