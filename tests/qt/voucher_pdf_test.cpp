// The voucher's PDF in the scripts a payroll office writes names in: Latin, Arabic and
// Devanagari come back from the file's text, in fonts the file carries. And the sums a reader
// checks by eye: the voucher's balance note and the totals under the posting list.
#include <QLabel>
#include <QStandardItemModel>
#include <QString>
#include <cstdlib>
#include <regex>

#include "gui_support.h"
#include "qt/ItemLook.h"
#include "qt/ItemModels.h"
#include "qt/PostingTotals.h"
#include "qt/VoucherPrinter.h"

namespace {

// What a poppler tool prints about the file.
std::string run(const std::string& command, const std::string& file) {
    EXPECT_EQ(std::system((command + " > '" + file + ".txt'").c_str()), 0) << command;
    return testsupport::slurp(file + ".txt");
}

TEST(VoucherPdf, ArabicAndDevanagariAreWrittenInEmbeddedFonts) {
    guitest::startApp();
    report::Voucher v;
    v.companyName = "Al Noor General Trading LLC";
    v.entryNo = "PAL/7";
    v.remarks = "رواتب أكتوبر";  // October salaries
    v.lines.push_back(
        {1, 1001, "Basic Salaries", "वेतन भुगतान", "AED", "AED", 100, 0, 100, 100});  // salary payment
    v.lines.push_back(
        {2, 1004, "مصروف الرواتب", "Net pay", "AED", "AED", 0, 100, -100, -90});  // salaries expense
    v.departmentCurrency = v.companyCurrency = "AED";
    v.totals.push_back({"AED", 100, 100, 0, 0});
    testsupport::TempDir tmp;
    const std::string file = tmp.file("voucher.pdf");
    QString error;
    ASSERT_EQ(qtui::writeVoucherPdf(v, QString::fromStdString(file), &error), 1) << error.toStdString();

    // The shaped Arabic comes back in presentation forms, which compatibility normalisation
    // maps to the letters stored.
    const QString text = QString::fromStdString(run("pdftotext '" + file + "' -", file))
                             .normalized(QString::NormalizationForm_KC);
    for (const char* written : {"Basic Salaries", "رواتب أكتوبر", "वेतन भुगतान", "مصروف الرواتب",
                                "net to 0.00 AED and its company amounts to 10.00 AED."})
        EXPECT_TRUE(text.contains(QString::fromUtf8(written))) << written << "\n" << text.toStdString();

    // Every font is embedded (pdffonts' "emb" column), the Devanagari one among them.
    const std::string fonts = run("pdffonts '" + file + "'", file);
    const std::regex row(R"(\S+ .* (yes|no) +(yes|no) +(yes|no) +\d+ +\d+)");
    int listed = 0;
    for (std::sregex_iterator m(fonts.begin(), fonts.end(), row), end; m != end; ++m, ++listed)
        EXPECT_EQ((*m)[1], "yes") << m->str();
    EXPECT_GE(listed, 2);
    EXPECT_NE(fonts.find("Lohit-Devanagari"), std::string::npos) << fonts;
}

// A rupee line gathered and its credit by hand, listed negative, with the company amounts in
// dirhams a cent apart: the credit is what the line's total credits, each balance its own column.
TEST(PostingTotals, ACreditByHandCountsAsACreditAndEachBalanceSumsItsOwnColumn) {
    guitest::startApp();
    const qtui::ListLook& look = *qtui::listLook("frmPayrollAccountsLinking", "lvwPostingDetails");
    QStandardItemModel m(2, static_cast<int>(look.columns.size()));
    const int cols[] = {look.currency, look.debit, look.credit, look.total, look.department, look.company};
    const char* cells[2][6] = {{"INR", "100", "0", "100", "100", "4.41"},
                               {"INR", "0", "-100", "-100", "-100", "-4.40"}};
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 6; ++c)
            m.setData(m.index(r, cols[c]), cells[r][c], qtui::ListViewModel::RawTextRole);
    qtui::PostingTotals totals(m, look);
    for (const auto& [name, shown] : {std::pair{"totalCredit_INR", "100.00"},
                                      {"balanceDepartment", "0.00"},
                                      {"balanceCompany", "0.01"}}) {
        const auto* label = totals.findChild<QLabel*>(name);
        EXPECT_EQ(label != nullptr ? label->text().toStdString() : "missing", shown) << name;
    }
}

}  // namespace
