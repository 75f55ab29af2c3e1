#include "qt/VoucherPrinter.h"

#include <QBuffer>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPageLayout>
#include <QPainter>
#include <QPdfWriter>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QScreen>
#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "common/Files.h"

namespace qtui {

namespace {

QString qs(const std::string& s) { return QString::fromStdString(s); }
QString amount(double v) { return qs(report::Amount(v)); }

// A row of a table, one value per column. A braced list shorter than the array would compile
// and leave the last cells empty, shifting every value after a missing one; this does not.
template <class T, size_t N, class... A>
constexpr std::array<T, N> cellsOf(A&&... cells) {
    static_assert(sizeof...(A) == N, "one cell for every column");
    return {T(std::forward<A>(cells))...};
}

// The columns of the lines, as shares of the page width; amounts are right-aligned.
struct Column {
    double share;
    bool number;
};
enum { kNo, kAccount, kName, kDescription, kCurrency, kDebit, kCredit, kDeptAmount, kCompAmount, kColumns };
using Cells = std::array<QString, kColumns>;
constexpr std::array<Column, kColumns> kColumnSpec = cellsOf<Column, kColumns>(  //
    Column{0.04, true},                                                          // No.
    Column{0.06, false},                                                         // Account
    Column{0.19, false},                                                         // Account name
    Column{0.18, false},                                                         // Description
    Column{0.07, false},                                                         // Curr.
    Column{0.115, true},                                                         // Debit
    Column{0.115, true},                                                         // Credit
    Column{0.115, true},                                                         // Department amount
    Column{0.115, true});                                                        // Company amount

// The linked sources' columns: No., run or payment, employee, date, currency, amount.
enum { kSourceNo, kSourceAmount = 5, kSourceColumns };
using SourceCells = std::array<QString, kSourceColumns>;

// One page's worth of layout, measured on the device: every length in device pixels.
class Layout {
public:
    Layout(const report::Voucher& v, QPaintDevice& device) : v_(v), device_(device) {
        pt_ = device.logicalDpiY() / 72.0;
        width_ = device.width();
        height_ = device.height();
        body_ = font(8);
        bold_ = font(8, true);
        small_ = font(7);
        double x = 0;
        for (int c = 0; c < kColumns; ++c) {
            left_[c] = x;
            x += kColumnSpec[c].share * width_;
            right_[c] = x;
        }
        headings_ = cellsOf<QString, kColumns>(
            QStringLiteral("No."), QStringLiteral("Account"), QStringLiteral("Account name"),
            QStringLiteral("Description"), QStringLiteral("Curr."), QStringLiteral("Debit"),
            QStringLiteral("Credit"), QStringLiteral("Department") + currencySuffix(v.departmentCurrency),
            QStringLiteral("Company") + currencySuffix(v.companyCurrency));
        rowPad_ = pt(2.5);
        lineH_ = QFontMetricsF(body_, &device_).height();
        headingH_ = cellHeight(headings_, bold_, true) + pt(2);
        footerH_ = QFontMetricsF(small_, &device_).height() + pt(8);
    }

    double pt(double points) const { return points * pt_; }
    QFont font(double points, bool bold = false) const {
        QFont f(QStringLiteral("DejaVu Sans"));
        f.setStyleHint(QFont::SansSerif);
        f.setPointSizeF(points);
        f.setBold(bold);
        return f;
    }
    static QString currencySuffix(const std::string& currency) {
        return currency.empty() ? QString() : QStringLiteral(" (") + qs(currency) + QStringLiteral(")");
    }

    // Height of a wrapped text in the given width.
    double textHeight(const QString& text, const QFont& f, double width) const {
        if (text.isEmpty()) return QFontMetricsF(f, &device_).height();
        return QFontMetricsF(f, &device_)
            .boundingRect(QRectF(0, 0, width, 1e9), Qt::TextWordWrap, text)
            .height();
    }
    double cellWidth(int c) const { return right_[c] - left_[c] - 2 * pt(2); }
    // Text wraps; numbers stand on one line (drawCells narrows the font of one too wide),
    // except in the headings.
    double cellHeight(const Cells& cells, const QFont& f, bool heading = false) const {
        double h = textHeight(QString(), f, 0);
        for (int c = 0; c < kColumns; ++c)
            if (heading || !kColumnSpec[c].number) h = std::max(h, textHeight(cells[c], f, cellWidth(c)));
        return h + 2 * rowPad_;
    }

    Cells lineCells(const report::VoucherLine& l) const {
        // The debit and credit are in the account's currency; where the transaction's differs,
        // both are named so that no amount is read in the wrong one.
        QString currency = qs(l.currency);
        if (!l.accountCurrency.empty() && l.accountCurrency != l.currency)
            currency += QStringLiteral(" / ") + qs(l.accountCurrency);
        return cellsOf<QString, kColumns>(
            QString::number(l.line), QString::number(l.accountId), qs(l.accountName), qs(l.description),
            currency, amount(l.debit), amount(l.credit), amount(l.departmentAmount), amount(l.companyAmount));
    }
    Cells totalCells(const report::CurrencyTotal& t) const {
        return cellsOf<QString, kColumns>(QString(), QString(), QStringLiteral("Total ") + qs(t.currency),
                                          QString(), qs(t.currency), amount(t.debit), amount(t.credit),
                                          amount(t.departmentAmount), amount(t.companyAmount));
    }

    void drawCells(QPainter& p, double y, double h, const Cells& cells, const QFont& f,
                   bool heading = false) const {
        for (int c = 0; c < kColumns; ++c) {
            if (cells[c].isEmpty()) continue;
            const QRectF r(left_[c] + pt(2), y + rowPad_, cellWidth(c), h - 2 * rowPad_);
            const bool number = kColumnSpec[c].number;
            QFont cellFont = f;
            if (number && !heading) {
                // An amount is never cut or broken at its separators: a long one gets a
                // narrower font.
                const double wide = QFontMetricsF(f, &device_).horizontalAdvance(cells[c]);
                if (wide > r.width()) cellFont.setPointSizeF(f.pointSizeF() * r.width() / wide * 0.98);
            }
            p.setFont(cellFont);
            const int align = (number ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignTop;
            p.drawText(r, align | (number && !heading ? 0 : Qt::TextWordWrap), cells[c]);
        }
    }
    void drawHeading(QPainter& p, double y) const {
        p.fillRect(QRectF(0, y, width_, headingH_), QColor(232, 232, 232));
        drawCells(p, y, headingH_, headings_, bold_, true);
        rule(p, y, 0.8);
        rule(p, y + headingH_, 0.8);
    }
    void rule(QPainter& p, double y, double points, const QColor& colour = Qt::black) const {
        p.setPen(QPen(colour, pt(points)));
        p.drawLine(QPointF(0, y), QPointF(width_, y));
        p.setPen(Qt::black);
    }

    const report::Voucher& v_;
    QPaintDevice& device_;
    double pt_ = 1, width_ = 0, height_ = 0;
    QFont body_, bold_, small_;
    std::array<double, kColumns> left_{}, right_{};
    Cells headings_;
    double rowPad_ = 0, lineH_ = 0, headingH_ = 0, footerH_ = 0;
};

// The particulars of the first page: label and value pairs in two columns.
struct Particulars {
    std::vector<std::pair<QString, QString>> left, right;
};

Particulars particulars(const report::Voucher& v) {
    Particulars p;
    QString department = qs(v.department);
    if (!v.departmentCurrency.empty()) department += QStringLiteral(" (") + qs(v.departmentCurrency) + ')';
    p.left = {{QStringLiteral("Entry No."), qs(v.entryNo)},
              {QStringLiteral("Date"), qs(v.date)},
              {QStringLiteral("Type"), qs(v.typeName)},
              {QStringLiteral("Department"), department}};
    QString status;
    if (v.cancelled) {
        status = QStringLiteral("CANCELLED");
        if (!v.cancelReason.empty()) status += QStringLiteral(": ") + qs(v.cancelReason);
        if (v.posted) status += QStringLiteral(" (posted before)");
    } else {
        status = v.posted ? QStringLiteral("Posted to accounts") : QStringLiteral("Open, not posted");
    }
    QString sources;
    if (v.sources.count == 0) {
        sources = QStringLiteral("none");
    } else {
        const bool one = v.sources.count == 1;
        sources =
            QString::number(v.sources.count) +
            (v.sources.payroll ? (one ? QStringLiteral(" payroll run") : QStringLiteral(" payroll runs"))
                               : (one ? QStringLiteral(" payment") : QStringLiteral(" payments")));
        sources += QStringLiteral(", ") + QString::number(v.sources.employees) +
                   (v.sources.employees == 1 ? QStringLiteral(" employee") : QStringLiteral(" employees"));
        if (!v.sources.from.empty()) {
            sources += QStringLiteral(", dated ") + qs(v.sources.from);
            if (v.sources.to != v.sources.from) sources += QStringLiteral(" to ") + qs(v.sources.to);
        }
    }
    p.right = {{QStringLiteral("Status"), status},
               {QStringLiteral("Remarks"), qs(v.remarks)},
               {QStringLiteral("Linked"), sources}};
    return p;
}

// Where each part of the voucher goes: a page index and a top edge.
struct Placed {
    int page = 0;
    double y = 0;
};

class VoucherPages {
public:
    VoucherPages(const report::Voucher& v, QPaintDevice& device) : v_(v), l_(v, device) {
        measure();
        paginate();
    }
    int pages() const { return pages_; }

    void paint(QPainter& p, int page) const {
        if (v_.cancelled) watermark(p);
        p.setPen(Qt::black);
        if (page == 0)
            drawFirstHeader(p);
        else
            drawRunningHeader(p);
        for (const Placed& h : headings_)
            if (h.page == page) l_.drawHeading(p, h.y);
        for (size_t i = 0; i < v_.lines.size(); ++i) {
            if (lines_[i].page != page) continue;
            l_.drawCells(p, lines_[i].y, lineH_[i], l_.lineCells(v_.lines[i]), l_.body_);
            l_.rule(p, lines_[i].y + lineH_[i], 0.3, QColor(190, 190, 190));
        }
        if (totals_.page == page) drawTotals(p, totals_.y);
        for (const Placed& h : sourceHeads_)
            if (h.page == page) drawSourceHeading(p, h.y);
        for (size_t i = 0; i < v_.linked.size(); ++i)
            if (sourceRows_[i].page == page) drawSourceRow(p, sourceRows_[i].y, i);
        if (signatures_.page == page) drawSignatures(p, signatures_.y);
        drawFooter(p, page);
    }

private:
    void measure() {
        const double w = l_.width_;
        titleH_ = QFontMetricsF(l_.font(14, true), &l_.device_).height() +
                  QFontMetricsF(l_.font(11, true), &l_.device_).height() + l_.pt(6);
        const Particulars pa = particulars(v_);
        labelW_ = l_.pt(70);
        const double colW = w / 2 - labelW_ - l_.pt(12);
        auto side = [&](const std::vector<std::pair<QString, QString>>& pairs) {
            double h = 0;
            for (const auto& [label, value] : pairs) h += l_.textHeight(value, l_.font(9), colW) + l_.pt(2);
            return h;
        };
        particularsH_ = std::max(side(pa.left), side(pa.right)) + l_.pt(10);
        runningH_ = QFontMetricsF(l_.font(9, true), &l_.device_).height() + l_.pt(8);
        for (const report::VoucherLine& line : v_.lines)
            lineH_.push_back(l_.cellHeight(l_.lineCells(line), l_.body_));
        totalRowH_ = l_.cellHeight(l_.totalCells({"XXX"}), l_.bold_);
        balanceH_ = l_.textHeight(QStringLiteral("X"), l_.font(8, true), w) + l_.pt(6);
        totalsH_ = l_.pt(4) + totalRowH_ * static_cast<double>(v_.totals.size()) + balanceH_;
        signaturesH_ = l_.pt(56);
        sourceRowH_ = l_.lineH_ + 2 * l_.rowPad_;
        sourceTitleH_ = QFontMetricsF(l_.font(9, true), &l_.device_).height() + l_.pt(4);
    }

    void paginate() {
        const double bottom = l_.height_ - l_.footerH_;
        int page = 0;
        double y = titleH_ + particularsH_;
        bool headed = false;  // the current page has its column headings
        auto newPage = [&] {
            ++page;
            y = runningH_;
            headed = false;
        };
        // Rows sit under the headings: a page that takes a row takes the headings first.
        auto placeRow = [&](double h) {
            if (y + h + (headed ? 0 : l_.headingH_) > bottom && (headed || y > runningH_)) newPage();
            if (!headed) {
                headings_.push_back({page, y});
                y += l_.headingH_;
                headed = true;
            }
            Placed at{page, y};
            y += h;
            return at;
        };
        for (double h : lineH_) lines_.push_back(placeRow(h));
        // Totals never stand alone under the headings: the last line goes over with them,
        // unless it is the only line of its page.
        if (lines_.size() >= 2 && y + totalsH_ > bottom && lines_.back().page == page &&
            lines_[lines_.size() - 2].page == page) {
            newPage();
            lines_.back() = placeRow(lineH_.back());
        }
        // The totals stay together, under headings of their own page if they move on.
        totals_ = placeRow(totalsH_);
        // The linked sources follow, under their title and headings on every page they reach.
        y += l_.pt(10);
        bool sourcesHeaded = false;
        for (size_t i = 0; i < v_.linked.size(); ++i) {
            const double head = sourcesHeaded ? 0 : sourceTitleH_ + l_.headingH_;
            if (y + head + sourceRowH_ > bottom) {
                newPage();
                sourcesHeaded = false;
            }
            if (!sourcesHeaded) {
                sourceHeads_.push_back({page, y});
                y += sourceTitleH_ + l_.headingH_;
                sourcesHeaded = true;
            }
            sourceRows_.push_back({page, y});
            y += sourceRowH_;
        }
        if (y + l_.pt(18) + signaturesH_ > bottom) newPage();
        signatures_ = {page, std::max(y + l_.pt(18), bottom - signaturesH_ - l_.pt(6))};
        pages_ = page + 1;
    }

    void watermark(QPainter& p) const {
        p.save();
        QFont f = l_.font(84, true);
        f.setLetterSpacing(QFont::PercentageSpacing, 110);
        p.setFont(f);
        p.setPen(QColor(200, 0, 0, 60));
        p.translate(l_.width_ / 2, l_.height_ / 2);
        p.rotate(-28);
        const QRectF box(-l_.width_, -l_.height_ / 4, 2 * l_.width_, l_.height_ / 2);
        p.drawText(box, Qt::AlignCenter, QStringLiteral("CANCELLED"));
        p.restore();
    }

    void drawFirstHeader(QPainter& p) const {
        const double w = l_.width_;
        double y = 0;
        QFont company = l_.font(14, true);
        p.setFont(company);
        const double companyH = QFontMetricsF(company, &l_.device_).height();
        p.drawText(QRectF(0, y, w, companyH), Qt::AlignHCenter | Qt::AlignTop, qs(v_.companyName));
        y += companyH;
        QFont title = l_.font(11, true);
        p.setFont(title);
        const double titleH = QFontMetricsF(title, &l_.device_).height();
        p.drawText(QRectF(0, y, w, titleH), Qt::AlignHCenter | Qt::AlignTop,
                   QStringLiteral("Journal Voucher"));
        y += titleH + l_.pt(6);

        const Particulars pa = particulars(v_);
        const double colW = w / 2 - labelW_ - l_.pt(12);
        auto side = [&](const std::vector<std::pair<QString, QString>>& pairs, double x) {
            double yy = y;
            for (const auto& [label, value] : pairs) {
                const double h = l_.textHeight(value, l_.font(9), colW);
                p.setFont(l_.font(9, true));
                p.drawText(QRectF(x, yy, labelW_, h), Qt::AlignLeft | Qt::AlignTop, label);
                p.setFont(l_.font(9));
                p.drawText(QRectF(x + labelW_, yy, colW, h), Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap,
                           value);
                yy += h + l_.pt(2);
            }
        };
        side(pa.left, 0);
        side(pa.right, w / 2);
    }

    void drawRunningHeader(QPainter& p) const {
        p.setFont(l_.font(9, true));
        const double h = runningH_ - l_.pt(8);
        p.drawText(QRectF(0, 0, l_.width_, h), Qt::AlignLeft | Qt::AlignTop,
                   qs(v_.companyName) + QStringLiteral(" - Journal Voucher ") + qs(v_.entryNo) +
                       QStringLiteral(" (continued)"));
        p.drawText(QRectF(0, 0, l_.width_, h), Qt::AlignRight | Qt::AlignTop, qs(v_.date));
    }

    void drawTotals(QPainter& p, double y) const {
        y += l_.pt(4);
        l_.rule(p, y, 0.8);
        for (const report::CurrencyTotal& t : v_.totals) {
            l_.drawCells(p, y, totalRowH_, l_.totalCells(t), l_.bold_);
            y += totalRowH_;
        }
        l_.rule(p, y, 0.8);
        QString note;
        // The lines of several currencies balance in the department's and the company's.
        const report::Imbalance net = report::NetAmounts(v_);
        if (report::Balanced(v_)) {
            note = QStringLiteral("The entry balances: its department amounts (") +
                   qs(v_.departmentCurrency) + QStringLiteral(") and its company amounts (") +
                   qs(v_.companyCurrency) + QStringLiteral(") each net to zero.");
        } else {
            note = QStringLiteral("The entry does not balance: its department amounts net to ") +
                   amount(net.department) + ' ' + qs(v_.departmentCurrency) +
                   QStringLiteral(" and its company amounts to ") + amount(net.company) + ' ' +
                   qs(v_.companyCurrency) + '.';
        }
        p.setFont(l_.font(8, true));
        p.drawText(QRectF(0, y + l_.pt(3), l_.width_, balanceH_), Qt::AlignLeft | Qt::AlignTop, note);
    }

    // The linked sources' columns, as shares of the page width; the amount is right-aligned.
    static constexpr std::array<double, kSourceColumns> kSourceShares =
        cellsOf<double, kSourceColumns>(0.05, 0.2, 0.4, 0.12, 0.08, 0.15);
    void drawSourceCells(QPainter& p, double y, const SourceCells& cells, const QFont& f) const {
        double x = 0;
        p.setFont(f);
        for (size_t c = 0; c < cells.size(); ++c) {
            const double w = kSourceShares[c] * l_.width_;
            const QRectF r(x + l_.pt(2), y + l_.rowPad_, w - l_.pt(4), l_.lineH_);
            const bool number = c == kSourceNo || c == kSourceAmount;
            p.drawText(r, (number ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignTop,
                       QFontMetricsF(f, &l_.device_).elidedText(cells[c], Qt::ElideRight, r.width()));
            x += w;
        }
    }
    void drawSourceHeading(QPainter& p, double y) const {
        QString title =
            v_.sources.payroll ? QStringLiteral("Linked payroll runs") : QStringLiteral("Linked payments");
        title += QStringLiteral(" (") + QString::number(v_.linked.size()) + QStringLiteral(")");
        if (!v_.sources.from.empty())
            title += QStringLiteral(", period covered: ") + qs(v_.sources.from) + QStringLiteral(" to ") +
                     qs(v_.sources.to);
        p.setFont(l_.font(9, true));
        p.drawText(QRectF(0, y, l_.width_, sourceTitleH_), Qt::AlignLeft | Qt::AlignTop, title);
        y += sourceTitleH_;
        p.fillRect(QRectF(0, y, l_.width_, l_.headingH_), QColor(232, 232, 232));
        drawSourceCells(
            p, y,
            cellsOf<QString, kSourceColumns>(
                QStringLiteral("No."), v_.sources.payroll ? QStringLiteral("Run") : QStringLiteral("Payment"),
                QStringLiteral("Employee"), QStringLiteral("Date"), QStringLiteral("Curr."),
                QStringLiteral("Amount")),
            l_.bold_);
        l_.rule(p, y, 0.8);
        l_.rule(p, y + l_.headingH_, 0.8);
    }
    void drawSourceRow(QPainter& p, double y, size_t i) const {
        const report::LinkedSource& s = v_.linked[i];
        drawSourceCells(p, y,
                        cellsOf<QString, kSourceColumns>(QString::number(i + 1), qs(s.number), qs(s.employee),
                                                         qs(s.date), qs(s.currency), amount(s.amount)),
                        l_.body_);
        l_.rule(p, y + sourceRowH_, 0.3, QColor(190, 190, 190));
    }

    void drawSignatures(QPainter& p, double y) const {
        const std::array<QString, 3> labels{QStringLiteral("Prepared by"), QStringLiteral("Checked by"),
                                            QStringLiteral("Approved by")};
        const double gap = l_.pt(30);
        const double boxW = (l_.width_ - 2 * gap) / 3;
        const double lineY = y + l_.pt(30);
        for (int i = 0; i < 3; ++i) {
            const double x = i * (boxW + gap);
            if (i == 0) {
                p.setFont(l_.font(9));
                p.drawText(QRectF(x, y + l_.pt(14), boxW, l_.pt(14)), Qt::AlignLeft | Qt::AlignBottom,
                           qs(v_.preparedBy));
            }
            p.setPen(QPen(Qt::black, l_.pt(0.6)));
            p.drawLine(QPointF(x, lineY), QPointF(x + boxW, lineY));
            p.setFont(l_.font(8, true));
            p.drawText(QRectF(x, lineY + l_.pt(2), boxW, l_.pt(12)), Qt::AlignLeft | Qt::AlignTop, labels[i]);
            p.setFont(l_.font(8));
            p.drawText(QRectF(x, lineY + l_.pt(2), boxW, l_.pt(12)), Qt::AlignRight | Qt::AlignTop,
                       QStringLiteral("Date: ____________"));
        }
    }

    void drawFooter(QPainter& p, int page) const {
        const double y = l_.height_ - l_.footerH_ + l_.pt(6);
        l_.rule(p, y - l_.pt(3), 0.3, QColor(120, 120, 120));
        p.setFont(l_.small_);
        const QRectF r(0, y, l_.width_, l_.footerH_ - l_.pt(6));
        p.drawText(r, Qt::AlignLeft | Qt::AlignTop,
                   QStringLiteral("Journal Voucher ") + qs(v_.entryNo) + QStringLiteral(" - printed ") +
                       qs(v_.printedAt));
        p.drawText(r, Qt::AlignRight | Qt::AlignTop,
                   QStringLiteral("Page %1 of %2").arg(page + 1).arg(pages_));
    }

    const report::Voucher& v_;
    Layout l_;
    double titleH_ = 0, particularsH_ = 0, labelW_ = 0, runningH_ = 0;
    double totalRowH_ = 0, balanceH_ = 0, totalsH_ = 0, signaturesH_ = 0;
    std::vector<double> lineH_;
    std::vector<Placed> lines_, headings_, sourceHeads_, sourceRows_;
    double sourceRowH_ = 0, sourceTitleH_ = 0;
    Placed totals_, signatures_;
    int pages_ = 1;
};

}  // namespace

void setVoucherPage(QPagedPaintDevice& device) {
    device.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Landscape,
                                     QMarginsF(12, 12, 12, 12), QPageLayout::Millimeter));
}

int paintVoucher(const report::Voucher& voucher, QPagedPaintDevice& device) {
    QPainter painter;
    if (!painter.begin(&device)) return 0;
    painter.setRenderHint(QPainter::Antialiasing);
    const VoucherPages pages(voucher, device);
    int first = 0, last = pages.pages() - 1;
    if (auto* printer = dynamic_cast<QPrinter*>(&device);
        printer != nullptr && printer->printRange() == QPrinter::PageRange && printer->fromPage() > 0) {
        first = std::clamp(printer->fromPage() - 1, 0, last);
        last = std::clamp(printer->toPage() > 0 ? printer->toPage() - 1 : last, first, last);
    }
    for (int page = first; page <= last; ++page) {
        if (page > first) device.newPage();
        pages.paint(painter, page);
    }
    painter.end();
    return pages.pages();
}

int writeVoucherPdf(const report::Voucher& voucher, const QString& file, QString* error) {
    // Made in memory, then written as every output of the program is: complete or not at all,
    // never through a link, private unless it replaces a file that was not.
    QBuffer bytes;
    bytes.open(QIODevice::WriteOnly);
    int pages = 0;
    {
        QPdfWriter pdf(&bytes);
        pdf.setResolution(600);
        pdf.setTitle(QStringLiteral("Journal Voucher ") + qs(voucher.entryNo));
        pdf.setCreator(QStringLiteral("QORPayAccLinking"));
        setVoucherPage(pdf);
        pages = paintVoucher(voucher, pdf);
    }
    try {
        if (pages == 0)
            throw common::FileError("cannot write '" + file.toStdString() +
                                    "': the PDF could not be painted");
        common::OutputFile out(file.toStdString());
        out.write(std::string_view(bytes.data().constData(), static_cast<size_t>(bytes.data().size())));
        out.commit();
    } catch (const common::FileError& e) {
        if (error != nullptr) *error = QString::fromStdString(e.what());
        return 0;
    }
    return pages;
}

void showVoucherPreview(const report::Voucher& voucher, QWidget* parent) {
    QPrinter printer(QPrinter::HighResolution);
    setVoucherPage(printer);
    // The print dialog offers the document's name as the PDF's file name: no '/' in it.
    printer.setDocName(QString::fromStdString(report::VoucherFileName(voucher.entryNo)).chopped(4));
    QPrintPreviewDialog dialog(&printer, parent);
    dialog.setObjectName(QStringLiteral("VoucherPreview"));
    dialog.setWindowTitle(QStringLiteral("Journal Voucher ") + qs(voucher.entryNo));
    QObject::connect(&dialog, &QPrintPreviewDialog::paintRequested,
                     [&voucher](QPrinter* p) { paintVoucher(voucher, *p); });
    if (QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        dialog.resize(area.width() * 9 / 10, area.height() * 9 / 10);
    }
    dialog.exec();
}

}  // namespace qtui
