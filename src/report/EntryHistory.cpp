#include "report/EntryHistory.h"

#include <ctime>

#include "common/DateTime.h"
#include "common/Error.h"
#include "report/Fields.h"

namespace report {

namespace {

common::DateTime now() {
    const std::time_t t = std::time(nullptr);
    std::tm local{};
    localtime_r(&t, &local);
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec};
}

}  // namespace

void RecordEntryEvent(data::Connection& connection, int32_t companyId, int32_t transId, int32_t userId,
                      char action) {
    try {
        auto cmd = connection.command(
            "insert into paPayAccLinkHistory (CompanyID, TransID, EventTime, UserID, Action) values (?, ?, "
            "?, ?, ?)");
        cmd->execute({common::Value(companyId), common::Value(transId), common::Value(now()),
                      common::Value(userId), common::Value(std::string(1, action))});
    } catch (const common::Error& e) {
        // A database without the table keeps no history, and the change goes on; any other
        // failure fails the change, as a failure of its own statements would. Neither server
        // ends the transaction for a missing table.
        const std::string& why = e.description();
        const bool missing = why.find("paPayAccLinkHistory") != std::string::npos &&
                             (why.find("no such table") != std::string::npos ||
                              why.find("Invalid object name") != std::string::npos);
        if (!missing) throw;
    }
}

std::vector<EntryEvent> LoadSourceEvents(data::Connection& connection, const data::TableNames& tables,
                                         int32_t companyId, int32_t sourceId) {
    const std::string company = std::to_string(companyId);
    std::string sql =
        "select e.TransID, e.Action, e.EventTime, e.UserID, u.username from paPayAccLinkHistory e";
    sql += " left join " + tables.pusers + " u on u.userid=e.UserID";
    sql += " where e.CompanyID=" + company + " and e.TransID in (select d.TransID from " +
           tables.paPayAccLinkDetails + " d where d.CompanyID=" + company +
           " and d.RefTransID=" + std::to_string(sourceId) + ")";
    sql += " order by e.EventTime, e.TransID";
    std::vector<EntryEvent> events;
    data::RecordsetPtr rs;
    try {
        rs = connection.open(sql);
    } catch (const common::Error&) {
        return events;  // no history table
    }
    for (; !rs->eof(); rs->moveNext()) {
        EntryEvent e;
        e.transId = static_cast<int32_t>(fields::number(rs->field(0)));
        const std::string action = fields::text(rs->field(1));
        e.action = action.empty() ? '?' : action[0];
        if (const common::DateTime* d = rs->field(2).asDate())
            e.at =
                common::formatDate(*d, "dd/MM/yyyy") + " " + common::formatDate(*d, "HH:mm:ss").substr(0, 5);
        e.user = fields::text(rs->field(4));
        if (e.user.empty()) e.user = "user " + rs->field(3).joinText();
        events.push_back(std::move(e));
    }
    return events;
}

}  // namespace report
