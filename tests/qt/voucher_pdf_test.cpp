// The voucher's PDF in the scripts a payroll office writes names in: Latin, Arabic and
// Devanagari come back from the file's text, in fonts the file carries.
#include <QString>
#include <algorithm>
#include <iterator>
#include <sstream>

#include "gui_support.h"
#include "qt/VoucherPrinter.h"

namespace {

std::string run(const std::string& command) {
    std::string out;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char buffer[4096];
        for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) out.append(buffer, n);
        EXPECT_EQ(::pclose(pipe), 0) << command;
    }
    return out;
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
        {2, 1004, "مصروف الرواتب", "Net pay", "AED", "AED", 0, 100, -100, -100});  // salaries expense
    v.totals.push_back({"AED", 100, 100, 0, 0});
    testsupport::TempDir tmp;
    const std::string file = tmp.file("voucher.pdf");
    QString error;
    ASSERT_EQ(qtui::writeVoucherPdf(v, QString::fromStdString(file), &error), 1) << error.toStdString();

    // The shaped Arabic comes back in presentation forms, which compatibility normalisation
    // maps to the letters stored.
    const QString text =
        QString::fromStdString(run("pdftotext '" + file + "' -")).normalized(QString::NormalizationForm_KC);
    for (const char* written : {"Basic Salaries", "رواتب أكتوبر", "वेतन भुगतान", "مصروف الرواتب"})
        EXPECT_TRUE(text.contains(QString::fromUtf8(written))) << written << "\n" << text.toStdString();

    // Every font is embedded (the fifth column from the end), the Devanagari one among them.
    std::istringstream fonts(run("pdffonts '" + file + "'"));
    std::vector<std::string> embedded;
    for (std::string line; std::getline(fonts, line);) {
        std::istringstream words(line);
        std::vector<std::string> w{std::istream_iterator<std::string>(words), {}};
        if (w.size() >= 6 && w[0].find('-') != 0 && w[0] != "name")
            embedded.push_back(w[0] + " " + w[w.size() - 5]);
    }
    EXPECT_GE(embedded.size(), 2u);
    for (const std::string& font : embedded) EXPECT_EQ(font.substr(font.size() - 4), " yes") << font;
    EXPECT_TRUE(std::any_of(embedded.begin(), embedded.end(),
                            [](const std::string& f) { return f.find("Devanagari") != std::string::npos; }));
}

}  // namespace
