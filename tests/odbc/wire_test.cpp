#include <gtest/gtest.h>

#include <iostream>

#include "../TestSupport.h"
#include "data/odbc/OdbcConnection.h"
#include "support/TdsResponder.h"

namespace {

TEST(Wire, Explore) {
    testsupport::TempDir tmp;
    const std::string path = testsupport::copyDb(testsupport::demoTemplate(), tmp.file("demo.db"));
    testsupport::TdsResponder responder(path);
    auto db = data::odbc::open(responder.connectionString());
    auto rs = db->open("select TransNo, TransDate, Remarks, TransID from paPayAccLinkHeader order by TransID");
    for (auto& row : rs->rows()) {
        for (auto& v : row) std::cout << v.joinText() << " | ";
        std::cout << "\n";
    }
    db->beginTrans();
    auto cmd = db->command("update paPayAccLinkHeader set Remarks=? where TransID=?");
    cmd->execute({common::Value("r\xd8\xa7 x \xf0\x9f\x8e\x89"), common::Value(1)});
    cmd->execute({common::Value("second"), common::Value(2)});
    db->commitTrans();
    { auto rs = db->command("select ? as d, length(?) as n, ? as t")->execute({common::Value(common::DateTime{2026, 10, 5, 10, 20, 30}), common::Value(std::string(5000, 'y')), common::Value(std::string(4500, 'z'))});
    std::cout << "ECHO " << rs->field(0).joinText() << " " << rs->field(1).joinText() << " " << rs->field(2).joinText().size() << "\n"; }
    auto p = db->command("spGetExchangeRate", data::CommandType::StoredProc);
    p->refreshParameters();
    p->setParameter(1, common::Value(1));
    p->setParameter(2, common::Value(1));
    p->setParameter(3, common::Value(2));
    p->execute();
    std::cout << "rate " << p->parameter(4).joinText() << "\n";
    std::cout << db->open("select Remarks from paPayAccLinkHeader where TransID=1")->field(0).joinText() << "\n";
    for (auto& req : responder.record()) {
        std::cout << "REQ\n";
        for (auto& c : req.calls) {
            std::cout << "  " << c.kind << " " << c.name << " [" << c.text << "] {" << c.declarations << "}";
            for (size_t i = 0; i < c.types.size(); ++i) std::cout << " " << c.types[i] << "=" << c.values[i];
            std::cout << "\n";
        }
    }
}

}  // namespace
