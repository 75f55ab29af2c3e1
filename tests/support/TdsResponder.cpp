// The responder speaks just enough TDS 7.4 for FreeTDS's ODBC driver: pre-login without
// encryption, login, SQL batches, RPCs (sp_executesql, sp_prepare, sp_prepexec, sp_execute,
// sp_unprepare, the catalog's sp_sproc_columns and the database's own procedures) and the
// transaction manager's begin, commit and rollback. Statements run on an embedded database
// through the program's T-SQL adapter; the few server-only statements the client sends (SET,
// the compatibility level, sp_getapplock) are answered here.
#include "support/TdsResponder.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <iostream>
#include <map>
#include <stdexcept>

#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "common/Utf8.h"
#include "data/sqlite/ProcedureCatalog.h"
#include "data/sqlite/SqliteConnection.h"

namespace testsupport {
namespace {

using common::DateTime;
using common::Value;
using Bytes = std::string;

// Message types and tokens of MS-TDS.
constexpr uint8_t kBatch = 0x01, kRpc = 0x03, kReply = 0x04, kAttention = 0x06, kTransaction = 0x0E,
                  kLogin = 0x10, kPrelogin = 0x12;
constexpr uint8_t tReturnStatus = 0x79, tColumns = 0x81, tError = 0xAA, tReturnValue = 0xAC, tLoginAck = 0xAD,
                  tRow = 0xD1, tEnvChange = 0xE3, tDone = 0xFD, tDoneProc = 0xFE, tDoneInProc = 0xFF;
// SQL_Latin1_General_CP1_CI_AS
const Bytes kCollation{'\x09', '\x04', '\xD0', '\x00', '\x34'};

struct Writer {
    Bytes b;
    void u8(unsigned v) { b += static_cast<char>(v & 0xFF); }
    void u16(unsigned v) { u8(v), u8(v >> 8); }
    void u32(uint32_t v) { u16(v & 0xFFFF), u16(v >> 16); }
    void u64(uint64_t v) { u32(static_cast<uint32_t>(v)), u32(static_cast<uint32_t>(v >> 32)); }
    void wide(const std::u16string& s) {
        for (char16_t c : s) u16(c);
    }
    void bvarchar(const std::string& s) {
        auto w = common::toUtf16(s).substr(0, 255);  // all a one-byte length can say; a name is cut
        u8(static_cast<unsigned>(w.size())), wide(w);
    }
    void usvarchar(const std::string& s) {
        auto w = common::toUtf16(s);
        u16(static_cast<unsigned>(w.size())), wide(w);
    }
    // A token whose body starts with its 16-bit length.
    void sized(uint8_t token, const Writer& body) {
        u8(token), u16(static_cast<unsigned>(body.b.size()));
        b += body.b;
    }
};

struct Reader {
    const Bytes& b;
    size_t pos = 0;
    void need(size_t n) const {
        if (pos + n > b.size()) throw std::runtime_error("message cut short");
    }
    unsigned u8() { return need(1), static_cast<unsigned char>(b[pos++]); }
    unsigned u16() { return u8() | (u8() << 8); }
    uint32_t u32() { return u16() | (static_cast<uint32_t>(u16()) << 16); }
    uint64_t u64() { return u32() | (static_cast<uint64_t>(u32()) << 32); }
    uint64_t uN(size_t n) {
        uint64_t v = 0;
        for (size_t i = 0; i < n; ++i) v |= static_cast<uint64_t>(u8()) << (8 * i);
        return v;
    }
    Bytes raw(size_t n) {
        need(n);
        pos += n;
        return b.substr(pos - n, n);
    }
    std::string text(size_t bytes) {
        const Bytes r = raw(bytes);
        std::u16string w(bytes / 2, u'\0');
        for (size_t i = 0; i < w.size(); ++i)
            w[i] = static_cast<char16_t>(static_cast<unsigned char>(r[2 * i]) |
                                         (static_cast<unsigned char>(r[2 * i + 1]) << 8));
        return common::fromUtf16(w);
    }
    bool atEnd() const { return pos >= b.size(); }
    void skipHeaders() { pos = u32(); }  // ALL_HEADERS: its length counts itself
};

// ------------------------------------------------------------------ values on the wire

constexpr int64_t kSerial1900 = 2;  // 1 January 1900 as a serial day

Value dateValue(int64_t serialDay, uint64_t seconds) {
    DateTime d = DateTime::fromDayNumber(serialDay);
    d.hour = static_cast<int>(seconds / 3600), d.minute = static_cast<int>(seconds / 60 % 60);
    d.second = static_cast<int>(seconds % 60);
    return Value(d);
}

struct Param {
    std::string name, type;
    bool output = false;
    Value value;
};

// A parameter's type information and value (MS-TDS TYPE_INFO and TYPE_VARBYTE), for the types
// FreeTDS binds our values as: INTN, FLTN, DATETIME2N, NVARCHAR (PLP beyond 4000 units), NTEXT.
void readValue(Reader& r, Param& p) {
    const unsigned type = r.u8();
    if (type == 0x26 || type == 0x6D) {  // INTN, FLTN
        const unsigned size = r.u8(), n = r.u8();
        p.type = type == 0x6D ? "float" : size == 8 ? "bigint" : "int";
        const uint64_t v = r.uN(n);
        double d;
        std::memcpy(&d, &v, sizeof d);
        if (n == 8 && type == 0x6D) p.value = Value(d);
        if (n && type == 0x26) p.value = Value(n == 4 ? static_cast<int32_t>(v) : static_cast<int64_t>(v));
    } else if (type == 0x2A) {  // DATETIME2N: time in units of 10^-scale seconds, then days from 0001-01-01
        const unsigned scale = r.u8(), n = r.u8();
        p.type = "datetime2(" + std::to_string(scale) + ")";
        if (n == 0) return;
        const auto seconds = static_cast<uint64_t>(static_cast<double>(r.uN(n - 3)) / std::pow(10.0, scale));
        p.value = dateValue(DateTime::ymd(1, 1, 1).dayNumber() + static_cast<int64_t>(r.uN(3)), seconds);
    } else if (type == 0xE7) {  // NVARCHAR
        const unsigned size = r.u16();
        r.raw(5);  // collation
        p.type = "nvarchar(" + (size == 0xFFFF ? std::string("max") : std::to_string(size / 2)) + ")";
        if (size != 0xFFFF) {
            if (const unsigned n = r.u16(); n != 0xFFFF) p.value = Value(r.text(n));
        } else if (r.u64() != ~uint64_t{0}) {
            std::string all;
            for (uint32_t n = r.u32(); n != 0; n = r.u32()) all += r.text(n);
            p.value = Value(all);
        }
    } else if (type == 0x63) {  // NTEXT, as FreeTDS sends a long statement text
        r.u32();
        r.raw(5);
        p.type = "ntext";
        if (const uint32_t n = r.u32(); n != 0xFFFFFFFF) p.value = Value(r.text(n));
    } else {
        throw std::runtime_error("parameter of TDS type " + std::to_string(type) + " not understood");
    }
}

// A result column's wire type, chosen from the values it holds, as the embedded database typed them.
enum class Kind { Int, Float, Date, Text, LongText };

Kind kindOf(const std::vector<Value>& values) {
    Kind k = Kind::Int;
    for (const Value& v : values) {
        if (v.asText())
            k = std::max(k, common::utf16Length(*v.asText()) > 4000 ? Kind::LongText : Kind::Text);
        if (v.asDate() || v.asDouble()) k = std::max(k, v.asDate() ? Kind::Date : Kind::Float);
    }
    return k;
}

void typeInfo(Writer& w, Kind k) {
    switch (k) {
        case Kind::Int:
            return w.u8(0x26), w.u8(8);
        case Kind::Float:
            return w.u8(0x6D), w.u8(8);
        case Kind::Date:
            return w.u8(0x6F), w.u8(8);
        case Kind::Text:
        case Kind::LongText:
            w.u8(0xE7), w.u16(k == Kind::Text ? 8000 : 0xFFFF);
            w.b += kCollation;
    }
}

void value(Writer& w, Kind k, const Value& v) {
    switch (k) {
        case Kind::Int:
            if (v.isNull()) return w.u8(0);
            return w.u8(8), w.u64(static_cast<uint64_t>(v.toInt64()));
        case Kind::Float: {
            if (v.isNull()) return w.u8(0);
            const double d = v.toDouble();
            uint64_t bits;
            std::memcpy(&bits, &d, 8);
            return w.u8(8), w.u64(bits);
        }
        case Kind::Date: {
            if (v.isNull()) return w.u8(0);
            const DateTime d = v.toDate();
            w.u8(8), w.u32(static_cast<uint32_t>(d.dayNumber() - kSerial1900));
            return w.u32(static_cast<uint32_t>((d.hour * 3600 + d.minute * 60 + d.second) * 300));
        }
        case Kind::Text:
        case Kind::LongText: {
            if (v.isNull()) return k == Kind::Text ? w.u16(0xFFFF) : w.u64(~uint64_t{0});
            const std::u16string s = common::toUtf16(v.toText());
            const auto bytes = static_cast<uint32_t>(s.size() * 2);
            if (k == Kind::Text) return w.u16(bytes), w.wide(s);
            w.u64(bytes);
            if (bytes) w.u32(bytes), w.wide(s);
            return w.u32(0);
        }
    }
}

// A DONEINPROC always has more after it; a DONEPROC says so when another call of the batch follows.
void done(Writer& w, uint8_t token, unsigned status, int64_t count) {
    if (token == tDoneInProc) status |= 0x01;
    w.u8(token), w.u16(status | (count >= 0 ? 0x10 : 0)), w.u16(0xC1),
        w.u64(static_cast<uint64_t>(std::max<int64_t>(count, 0)));
}

void result(Writer& w, const data::Recordset& rs) {
    std::vector<Kind> kinds;
    w.u8(tColumns), w.u16(static_cast<unsigned>(rs.fieldCount()));
    for (int c = 0; c < rs.fieldCount(); ++c) {
        std::vector<Value> column;
        for (const auto& row : rs.rows()) column.push_back(row[static_cast<size_t>(c)]);
        kinds.push_back(kindOf(column));
        w.u32(0), w.u16(0x0001);  // user type, nullable
        typeInfo(w, kinds.back());
        w.bvarchar(rs.fieldName(c));
    }
    for (const auto& row : rs.rows()) {
        w.u8(tRow);
        for (size_t c = 0; c < kinds.size(); ++c) value(w, kinds[c], row[c]);
    }
}

void error(Writer& w, int number, const std::string& message) {
    Writer e;
    e.u32(static_cast<uint32_t>(number)), e.u8(1), e.u8(16);
    e.usvarchar(message), e.bvarchar("payacc-responder"), e.bvarchar(""), e.u32(1);
    w.sized(tError, e);
}

// The embedded database's error as the server's: 2812 for a missing procedure.
void fail(Writer& w, const common::Error& e, uint8_t doneToken, unsigned more) {
    error(w, e.description().find("Could not find stored procedure") != std::string::npos ? 2812 : 50000,
          e.description());
    done(w, doneToken, 0x02 | more, -1);
}

void envChange(Writer& w, unsigned type, const Bytes& newValue, const Bytes& oldValue) {
    Writer e;
    e.u8(type);
    e.b += newValue + oldValue;
    w.sized(tEnvChange, e);
}

Bytes bvarchar(const std::string& s) {
    Writer w;
    w.bvarchar(s);
    return w.b;
}

Bytes bvarbyte(const Bytes& s) { return static_cast<char>(s.size()) + s; }

void returnValue(Writer& w, unsigned ordinal, const std::string& name, const Value& v) {
    const Kind k = kindOf({v});
    w.u8(tReturnValue), w.u16(ordinal), w.bvarchar(name), w.u8(0x01), w.u32(0), w.u16(0x0001);
    typeInfo(w, k);
    value(w, k, v);
}

std::string lower(std::string s) { return common::LCase(std::move(s)); }

// "@P1 ... @P2" to "?" markers, with the values in the order they are met.
std::string positional(const std::string& text, const std::vector<Param>& params, std::vector<Value>& args) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\'') {
            const size_t end = text.find('\'', i + 1);
            out += text.substr(i, end == std::string::npos ? std::string::npos : end - i + 1);
            i = end == std::string::npos ? text.size() : end;
        } else if (text[i] == '@' && i + 2 < text.size() && (text[i + 1] == 'P' || text[i + 1] == 'p') &&
                   std::isdigit(static_cast<unsigned char>(text[i + 2]))) {
            size_t n = 0, j = i + 2;
            for (; j < text.size() && std::isdigit(static_cast<unsigned char>(text[j])); ++j)
                n = n * 10 + static_cast<size_t>(text[j] - '0');
            if (n == 0 || n > params.size()) throw std::runtime_error("no value for @P" + std::to_string(n));
            args.push_back(params[n - 1].value);
            out += '?';
            i = j - 1;
        } else {
            out += text[i];
        }
    }
    return out;
}

struct Dropped {};

WireCall wireCall(std::string kind, std::string text = {}) {
    WireCall c;
    c.kind = std::move(kind), c.text = std::move(text);
    return c;
}

}  // namespace

// One client connection: its own embedded connection, its prepared statements and its transaction.
struct TdsResponder::Client {
    TdsResponder& owner;
    data::ConnectionPtr db;
    std::map<uint32_t, std::pair<std::string, std::string>> prepared;  // handle: text, declarations
    uint32_t nextHandle = 1;
    uint64_t transaction = 0;

    void checkDrop(const WireCall& call) {
        std::lock_guard lock(owner.mutex_);
        if (owner.dropOn_.empty()) return;
        const std::string seen = call.kind + " " + call.name + " " + call.text;
        if (seen.find(owner.dropOn_) == std::string::npos) return;
        owner.dropOn_.clear();
        throw Dropped{};
    }

    // A statement and its answer: its rows when it has columns, then the done token.
    void run(Writer& w, const std::string& text, const std::vector<Value>& args, uint8_t doneToken) {
        const std::string l = lower(common::Trim(text));
        try {
            if (l.empty() || (l.rfind("set ", 0) == 0 && l.find(';') == std::string::npos))
                return done(w, doneToken, 0, -1);
            data::Recordset answer;
            if (owner.compatibilityLevel_ < 110 && l.find("try_convert(") != std::string::npos) {
                error(w, 195, "'try_convert' is not a recognized built-in function name.");
                return done(w, doneToken, 0x02, -1);
            } else if (l.find("sys.databases") != std::string::npos) {
                std::vector<std::vector<Value>> level;  // none at level 0: a database that hides it
                if (owner.compatibilityLevel_ != 0)
                    level.push_back({Value(owner.compatibilityLevel_.load())});
                answer = data::Recordset({"compatibility_level"}, std::move(level));
            } else if (l.find("sp_getapplock") != std::string::npos) {
                answer = data::Recordset({""}, {{Value(owner.applockResult_.load())}});
            } else {
                const bool writes =
                    l.rfind("insert", 0) == 0 || l.rfind("update", 0) == 0 || l.rfind("delete", 0) == 0;
                if (writes && args.empty()) return done(w, doneToken, 0, db->execute(text));
                auto rs = args.empty() ? db->open(text) : db->command(text)->execute(args);
                if (rs->fieldCount() == 0) {
                    const int64_t changes = writes ? db->open("select changes()")->field(0).toInt64() : -1;
                    return done(w, doneToken, 0, changes);
                }
                answer = std::move(*rs);
            }
            result(w, answer);
            done(w, doneToken, 0, answer.recordCount());
        } catch (const common::Error& e) {
            fail(w, e, doneToken, 0);
        }
    }

    void batch(const Bytes& payload, WireRequest& req, Writer& w) {
        Reader r{payload};
        r.skipHeaders();
        req.calls.push_back(wireCall("batch", r.text(payload.size() - r.pos)));
        checkDrop(req.calls.back());
        run(w, req.calls.back().text, {}, tDone);
    }

    void rpc(const Bytes& payload, WireRequest& req, Writer& w) {
        Reader r{payload};
        r.skipHeaders();
        while (!r.atEnd()) {
            WireCall call = wireCall("rpc");
            if (const unsigned n = r.u16(); n == 0xFFFF) {
                static const char* const ids[] = {"sp_executesql", "sp_prepare", "sp_execute",
                                                  "sp_prepexec",   "",           "sp_unprepare"};
                const unsigned id = r.u16();
                call.name = id >= 10 && id <= 15 ? ids[id - 10] : "procedure " + std::to_string(id);
            } else {
                call.name = r.text(n * 2);
            }
            r.u16();  // options
            std::vector<Param> params;
            while (!r.atEnd() && static_cast<unsigned char>(payload[r.pos]) != 0xFF) {
                Param p;
                p.name = r.text(r.u8() * 2);
                p.output = (r.u8() & 0x01) != 0;
                readValue(r, p);
                params.push_back(std::move(p));
            }
            if (!r.atEnd()) ++r.pos;  // the separator of the next call
            req.calls.push_back(std::move(call));
            procedure(req.calls.back(), params, w, r.atEnd() ? 0 : 0x01);
        }
    }

    void procedure(WireCall& call, std::vector<Param>& params, Writer& w, unsigned more) {
        const std::string name = lower(call.name);
        size_t first = 0;  // the first value of the statement's own parameters
        uint32_t handle = 0;
        bool returnsHandle = false;
        if (name == "sp_executesql" && params.size() >= 1) {
            call.text = params[0].value.joinText();
            call.declarations = params.size() > 1 ? params[1].value.joinText() : "";
            first = 2;
        } else if ((name == "sp_prepare" || name == "sp_prepexec") && params.size() >= 3) {
            handle = nextHandle++;
            call.declarations = params[1].value.joinText();
            call.text = params[2].value.joinText();
            prepared[handle] = {call.text, call.declarations};
            first = 3, returnsHandle = true;
        } else if ((name == "sp_execute" || name == "sp_unprepare") && !params.empty()) {
            const auto& [text, declarations] = prepared[static_cast<uint32_t>(params[0].value.toInt64())];
            call.text = text, call.declarations = declarations;
            first = 1;
        }
        for (size_t i = first; i < params.size(); ++i) {
            call.types.push_back(params[i].type);
            call.values.push_back(params[i].value.isNull() ? "NULL" : params[i].value.joinText());
        }
        checkDrop(call);
        std::vector<Param> values(
            params.begin() + static_cast<std::ptrdiff_t>(std::min(first, params.size())), params.end());
        if (name == "sp_prepare" || name == "sp_unprepare") {
            if (name == "sp_unprepare") prepared.erase(static_cast<uint32_t>(params[0].value.toInt64()));
        } else if (!call.text.empty()) {
            std::vector<Value> args;
            try {
                run(w, positional(call.text, values, args), args, tDoneInProc);
            } catch (const std::runtime_error& e) {
                error(w, 8178, e.what());
            }
        } else if (name == "sp_sproc_columns") {
            procedureColumns(w, params);
        } else {
            stored(w, call.name, params, more);
            return;
        }
        w.u8(tReturnStatus), w.u32(0);
        if (returnsHandle) returnValue(w, 0, "@handle", Value(static_cast<int64_t>(handle)));
        done(w, tDoneProc, more, -1);
    }

    // A procedure of the database's catalog, its output parameters sent back after its rows.
    void stored(Writer& w, const std::string& name, const std::vector<Param>& params, unsigned more) {
        std::string bare = name.substr(name.rfind('.') == std::string::npos ? 0 : name.rfind('.') + 1);
        try {
            auto cmd = db->command(bare, data::CommandType::StoredProc);
            cmd->refreshParameters();
            for (size_t i = 0; i < params.size(); ++i) cmd->setParameter(i + 1, params[i].value);
            auto rs = cmd->execute();
            if (rs->fieldCount() > 0) {
                result(w, *rs);
                done(w, tDoneInProc, 0, rs->recordCount());
            }
            w.u8(tReturnStatus), w.u32(0);
            for (size_t i = 0; i < params.size(); ++i)
                if (params[i].output)
                    returnValue(w, static_cast<unsigned>(i + 1), params[i].name, cmd->parameter(i + 1));
            done(w, tDoneProc, more, -1);
        } catch (const common::Error& e) {
            fail(w, e, tDoneProc, more);
        }
    }

    // The catalog's description of a procedure's parameters: the columns the program reads.
    void procedureColumns(Writer& w, const std::vector<Param>& params) {
        std::string name;
        for (char c : params.empty() ? std::string() : params[0].value.joinText())
            if (c != '\\') name += c;  // the search pattern's escapes
        std::vector<std::vector<Value>> rows;
        try {
            data::sqlite::ProcedureCatalog catalog(data::sqlite::procedureFolder());
            // SQL types of int, smallint, float, nvarchar, datetime
            static const int types[] = {4, 5, 6, -9, 93};
            // A namesake of another schema, sorting first and taking one more parameter.
            for (const std::string schema : {"archive", "dbo"}) {
                auto row = [&](const std::string& column, int kind, int type) {
                    rows.push_back({Value("payroll"), Value(schema), Value(name + ";1"), Value(column),
                                    Value(kind), Value(type)});
                };
                row("@RETURN_VALUE", 5, 4);
                for (const auto& p : catalog.find(name).parameters)
                    row(p.name, p.output ? 2 : 1, types[static_cast<int>(p.type)]);
                if (schema == "archive") row("@Archived", 1, 4);
            }
        } catch (const common::Error&) {
        }
        result(w, data::Recordset({"PROCEDURE_CAT", "PROCEDURE_SCHEM", "PROCEDURE_NAME", "COLUMN_NAME",
                                   "COLUMN_TYPE", "DATA_TYPE"},
                                  std::move(rows)));
        done(w, tDoneInProc, 0, -1);
    }

    void transactionRequest(const Bytes& payload, WireRequest& req, Writer& w) {
        Reader r{payload};
        r.skipHeaders();
        const unsigned type = r.u16();
        WireCall call = wireCall(type == 5 ? "begin" : type == 7 ? "commit" : "rollback");
        auto descriptor = [&] {
            Writer d;
            d.u64(transaction);
            return bvarbyte(d.b);
        };
        auto begin = [&] {
            db->beginTrans();
            ++transaction;
            envChange(w, 8, descriptor(), bvarbyte(""));
        };
        if (type == 5) r.u8();  // isolation level
        r.text(r.u8() * 2);
        const bool chained = type != 5 && !r.atEnd() && r.u8() == 1;
        if (chained) call.text = "and begin";
        req.calls.push_back(call);
        checkDrop(call);
        try {
            if (type == 5) {
                begin();
            } else {
                if (type == 7) db->commitTrans();
                if (type == 8) db->rollbackTrans();
                envChange(w, type == 7 ? 9 : 10, bvarbyte(""), descriptor());
                if (chained) begin();
            }
            done(w, tDone, 0, -1);
        } catch (const common::Error& e) {
            error(w, 3902, e.description());
            done(w, tDone, 0x02, -1);
        }
    }
};

namespace {

bool readAll(int fd, char* to, size_t n) {
    while (n > 0) {
        const ssize_t got = ::recv(fd, to, n, 0);
        if (got <= 0) return false;
        to += got, n -= static_cast<size_t>(got);
    }
    return true;
}

bool readMessage(int fd, uint8_t& type, Bytes& payload) {
    payload.clear();
    for (;;) {
        char h[8];
        if (!readAll(fd, h, 8)) return false;
        type = static_cast<uint8_t>(h[0]);
        const size_t length = (static_cast<unsigned char>(h[2]) << 8) | static_cast<unsigned char>(h[3]);
        if (length < 8) return false;
        Bytes part(length - 8, '\0');
        if (!readAll(fd, part.data(), part.size())) return false;
        payload += part;
        if (h[1] & 0x01) return true;
    }
}

bool sendMessage(int fd, const Bytes& payload) {
    constexpr size_t kRoom = 4096 - 8;
    size_t at = 0;
    uint8_t id = 1;
    do {
        const size_t n = std::min(kRoom, payload.size() - at);
        const bool last = at + n == payload.size();
        Bytes packet{static_cast<char>(kReply),
                     static_cast<char>(last ? 1 : 0),
                     static_cast<char>((n + 8) >> 8),
                     static_cast<char>((n + 8) & 0xFF),
                     0,
                     0x33,
                     static_cast<char>(id++),
                     0};
        packet += payload.substr(at, n);
        if (::send(fd, packet.data(), packet.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(packet.size()))
            return false;
        at += n;
    } while (at < payload.size());
    return true;
}

Bytes preloginReply() {
    // VERSION 16.0, ENCRYPTION not supported, INSTOPT, THREADID, MARS off; offsets and lengths big-endian.
    const std::vector<std::pair<uint8_t, Bytes>> options{
        {0, Bytes{16, 0, 0, 0, 0, 0}}, {1, Bytes{2}}, {2, Bytes{0}}, {3, Bytes{}}, {4, Bytes{0}}};
    Bytes head, data;
    size_t offset = options.size() * 5 + 1;
    for (const auto& [token, value] : options) {
        head += {static_cast<char>(token), static_cast<char>(offset >> 8), static_cast<char>(offset & 0xFF),
                 0, static_cast<char>(value.size())};
        data += value;
        offset += value.size();
    }
    return head + '\xFF' + data;
}

Bytes loginReply() {
    Writer w;
    envChange(w, 1, bvarchar("payroll"), bvarchar("master"));
    envChange(w, 7, bvarbyte(kCollation), bvarbyte(""));
    envChange(w, 2, bvarchar("us_english"), bvarchar(""));
    Writer ack;
    ack.u8(1);
    ack.b += Bytes{0x74, 0, 0, 4};
    ack.bvarchar("Microsoft SQL Server");
    ack.b += Bytes{16, 0, 0x0F, static_cast<char>(0xA0)};
    w.sized(tLoginAck, ack);
    envChange(w, 4, bvarchar("4096"), bvarchar("4096"));
    done(w, tDone, 0, -1);
    return w.b;
}

}  // namespace

TdsResponder::TdsResponder(std::string databasePath) : database_(std::move(databasePath)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(listener_, 8) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error(std::string("the responder cannot listen: ") + std::strerror(errno));
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptLoop(); });
}

TdsResponder::~TdsResponder() {
    stopping_ = true;
    acceptor_.join();
    {
        std::lock_guard lock(mutex_);
        for (int fd : clientFds_) ::shutdown(fd, SHUT_RDWR);
    }
    for (auto& t : clients_) t.join();
    ::close(listener_);
}

std::string TdsResponder::connectionString() const {
    return "DRIVER={FreeTDS};SERVER=127.0.0.1;PORT=" + std::to_string(port_) +
           ";DATABASE=payroll;UID=payacc;PWD=secret;TDS_Version=7.4";
}

std::vector<WireRequest> TdsResponder::record() const {
    std::lock_guard lock(mutex_);
    return record_;
}

void TdsResponder::clearRecord() {
    std::lock_guard lock(mutex_);
    record_.clear();
}

void TdsResponder::dropOn(const std::string& fragment) {
    std::lock_guard lock(mutex_);
    dropOn_ = fragment;
}

void TdsResponder::acceptLoop() {
    while (!stopping_) {
        pollfd p{listener_, POLLIN, 0};
        if (::poll(&p, 1, 50) <= 0) continue;
        const int fd = ::accept(listener_, nullptr, nullptr);
        if (fd < 0) continue;
        std::lock_guard lock(mutex_);
        clientFds_.push_back(fd);
        clients_.emplace_back([this, fd] { serve(fd); });
    }
}

void TdsResponder::serve(int fd) {
    try {
        Client client{*this, data::sqlite::open(database_), {}, 1, 0};
        uint8_t type = 0;
        Bytes payload;
        while (readMessage(fd, type, payload)) {
            Writer w;
            WireRequest req;
            auto keep = [&] {  // before the answer goes, so that a test reading the record finds it
                std::lock_guard lock(mutex_);
                if (!req.calls.empty()) record_.push_back(std::move(req));
            };
            try {
                if (type == kPrelogin) {
                    w.b = preloginReply();
                } else if (type == kLogin) {
                    w.b = loginReply();
                } else if (type == kAttention) {
                    req.calls.push_back(wireCall("attention"));
                    done(w, tDone, 0x20, -1);
                } else if (type == kBatch) {
                    client.batch(payload, req, w);
                } else if (type == kRpc) {
                    client.rpc(payload, req, w);
                } else if (type == kTransaction) {
                    client.transactionRequest(payload, req, w);
                } else {
                    throw std::runtime_error("message type " + std::to_string(type) + " not understood");
                }
            } catch (const Dropped&) {
                keep();  // recorded, and its connection closed without an answer
                break;
            }
            keep();
            if (!sendMessage(fd, w.b)) break;
        }
    } catch (const std::exception& e) {
        std::cerr << "tds responder: " << e.what() << "\n";
    }
    std::lock_guard lock(mutex_);
    std::erase(clientFds_, fd);
    ::shutdown(fd, SHUT_RDWR);
    ::close(fd);
}

}  // namespace testsupport
