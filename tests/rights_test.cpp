// The rights as one table: every combination of New, Edit, Delete and Print in the rights row of
// a user other than the administrator, the same letters in lower case or among others, and either
// user without a row, each against the browser's buttons (at load, then on a cancelled and on an
// open entry) and the program's post, print, export and trace run as that user.
#include <filesystem>

#include "TestSupport.h"

namespace {

struct Rights {
    int user;
    std::string letters;  // the rights row; none for "-"
};
void PrintTo(const Rights& r, std::ostream* os) { *os << "user " << r.user << " '" << r.letters << "'"; }

std::vector<Rights> table() {
    std::vector<Rights> rows;
    for (int mask = 0; mask < 16; ++mask) {
        std::string letters;
        for (int bit = 0; bit < 4; ++bit)
            if (mask & 1 << bit) letters += "NEDP"[bit];
        rows.push_back({4, letters});
    }
    rows.insert(rows.end(), {{4, "nedp"}, {4, "PxD"}, {1, "-"}, {4, "-"}});
    return rows;
}

class RightsTest : public testsupport::ModuleTest, public ::testing::WithParamInterface<Rights> {};

TEST_P(RightsTest, ButtonsPostPrintExportAndTraceFollowTheRights) {
    const int user = GetParam().user;
    const std::string letters = GetParam().letters;
    const std::string u = std::to_string(user);
    raw->execute("delete from puserrights where companyid=1 and interfaceid=60 and userid=" + u);
    if (letters != "-")
        raw->execute("insert into puserrights (companyid, userid, interfaceid, FunctionRights) values (1, " +
                     u + ", 60, '" + letters + "')");
    // At load a missing row gives the administrator, and only him, everything; moving in the list
    // re-applies the row's letters (none without a row), and Delete never on a cancelled entry.
    auto rule = [&](const std::string& buttons, bool load) {
        std::string s;
        for (char b : buttons)
            s += (letters == "-" ? load && user == 1 : letters.find(b) != std::string::npos) ? b : '-';
        return s;
    };
    module->session.userId = user;
    auto& b = module->FrmMaster();
    std::string shown = buttons();
    EXPECT_TRUE(traced("Select FunctionRights from puserrights where companyid = 1 and userid = " + u +
                       " and interfaceid = 60"));
    for (int entry : {3, 2, 4}) {  // open, cancelled, open
        b.flexMaster.userSelectCell(browserRow(entry), 1);
        shown += " " + buttons();
    }
    const std::string row = rule("NEDP", false);
    EXPECT_EQ(shown,
              rule("NEDP", true) + " " + row + " " + row.substr(0, 2) + "-" + row.substr(3) + " " + row);

    // The program needs New to post and Print to print, export or trace, says which it lacks and
    // then writes nothing.
    auto run = [&](const std::string& args, const std::string& refusal, const std::string& file) {
        auto r =
            testsupport::runProgram(tmp.path().string(), args + " --user " + u + " --db '" + dbPath + "'",
                                    "-u DISPLAY -u QT_QPA_PLATFORM");
        return std::to_string(r.status) + (r.err.find(refusal) != std::string::npos ? " refused" : "") +
               (r.status && std::filesystem::exists(tmp.file(file)) ? " wrote\n" : "\n");
    };
    const bool mayPost = rule("N", true) == "N", mayPrint = rule("P", true) == "P";
    const std::string post =
                          run("post --type 'Salary Advances' --from 01/10/2026 --to 31/10/2026 "
                              "--date 28/10/2026 --department 1 --dry-run",
                              "\"N\" right", "-"),
                      print = run("print --entry PAL/1 --pdf voucher.pdf", "no Print right", "voucher.pdf"),
                      csv = run("export --from 01/08/2026 --to 31/08/2026 --csv lines.csv", "no Print right",
                                "lines.csv"),
                      trace = run("trace --run 261", "no Print right", "-");
    EXPECT_EQ(post + print + csv + trace, std::string(mayPost ? "0\n" : "1 refused\n") +
                                              (mayPrint ? "0\n0\n0\n" : "2 refused\n2 refused\n2 refused\n"));
}

INSTANTIATE_TEST_SUITE_P(Table, RightsTest, ::testing::ValuesIn(table()), [](const auto& info) {
    return "User" + std::to_string(info.param.user) +
           (info.param.letters == "-"    ? "WithoutRow"
            : info.param.letters.empty() ? "Empty"
                                         : info.param.letters);
});

}  // namespace
