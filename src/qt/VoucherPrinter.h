#pragma once
// The journal voucher on paper: A4 landscape pages with the entry's particulars on the first,
// the column headings repeated at the top of every page that carries lines, totals per
// currency, the signature lines, the print date and "Page i of n" on each; a cancelled
// entry has CANCELLED written across every page. The same layout goes to the print
// preview, the printer and PDF files.
#include <QString>

#include "report/Voucher.h"

class QPagedPaintDevice;
class QPrinter;
class QWidget;

namespace qtui {

// Paints the voucher on the device's pages from its first one (a printer's page range is
// honoured) and returns the number of pages of the voucher; 0 when the device cannot be
// painted on.
int paintVoucher(const report::Voucher& voucher, QPagedPaintDevice& device);

// A4 landscape, the page setup every voucher starts from.
void setVoucherPage(QPagedPaintDevice& device);

// Writes the voucher as a PDF file and returns its number of pages. The file appears only
// once complete; on failure (0) it is left as it was and error says why, in one line that
// names the file.
int writeVoucherPdf(const report::Voucher& voucher, const QString& file, QString* error);

// The print preview of the voucher (modal), from which the user prints or saves a PDF.
void showVoucherPreview(const report::Voucher& voucher, QWidget* parent);

}  // namespace qtui
