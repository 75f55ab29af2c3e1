#include "linking/frmcancell.h"

#include <string>

#include "browser/FrmMaster.h"
#include "browser/GridColumns.h"
#include "common/Conv.h"
#include "common/TransactionTypes.h"
#include "report/EntryHistory.h"

namespace linking {

namespace {

namespace mst = browser::mst;
constexpr uint32_t kCancelledColor = 255;  // red, as the browser colours cancelled rows

// Doubling an apostrophe keeps the statement's shape, so the stored reason is exactly what
// the user typed or pasted and a quote can never end the literal early.
std::string QuotedLiteralText(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char ch : text) {
        out += ch;
        if (ch == '\'') out += '\'';
    }
    return out;
}

}  // namespace

frmcancell::frmcancell(entry::Module& module)
    : ui::Form(module.toolkit(), "frmcancell", "Cancel"),
      Frame1(add<ui::Frame>("Frame1", "")),
      lblreason(add<ui::Label>("lblreason", "Reason:", &Frame1)),
      txtreason(add<ui::TextBox>("txtreason", &Frame1)),
      cmdok(add<ui::CommandButton>("cmdok", "&Ok", &Frame1)),
      cmdKeep(add<ui::CommandButton>("cmdKeep", "&Keep entry", &Frame1)),
      module_(module) {
    txtreason.KeyPress = [this](int16_t& k) { txtreason_KeyPress(k); };
    cmdok.Click = [this] { Cmdok_Click(); };
    cmdKeep.Click = [this] { cmdKeep_Click(); };
    // No longer than the header's cancelremarks column (255 characters).
    txtreason.maxLength = 255;
}

frmcancell::~frmcancell() = default;

void frmcancell::Form_Load() {
    db_ = std::make_unique<suite::ClsCommonDb>();
    module_.connection();
    db_->adocon = module_.session.connection;
    helpFile_ = module_.helpFile();
}

void frmcancell::Cmdok_Click() {
    data::Connection* conn = nullptr;
    try {
        if (common::Trim(txtreason.text()).empty()) {
            module_.MsgBox("Enter reason for deletion", ui::vbOKOnly + ui::vbInformation);
            txtreason.setFocus();
            return;
        }
        ui::FlexGrid& grid = module_.FrmMaster().flexMaster;
        const int row = grid.row();
        const int32_t transId = common::CLng(common::Val(grid.textMatrix(row, mst::TransID)));
        const std::string typeName = grid.textMatrix(row, mst::Type);
        const std::string company = std::to_string(module_.session.companyId);

        conn = &module_.connection();
        conn->beginTrans();
        module_.LockCompanyEntries();
        if (EntryClosedMeanwhile(row, transId)) {
            conn->rollbackTrans();
            module_.MsgBox(
                "This entry has been cancelled or posted by another user meanwhile; it is left as it is.",
                ui::vbOKOnly + ui::vbInformation);
            cmdok.setEnabled(false);
            unload();
            return;
        }

        std::string sql = "update ";
        sql += module_.session.tables.paPayAccLinkHeader;
        sql += "  set cancelled=1,";
        // SQL Server gets the reason as a parameter: no code page or quote can change it there.
        const bool bound = conn->dialect().bindsUserText();
        sql += bound ? " cancelremarks=?" : " cancelremarks='" + QuotedLiteralText(txtreason.text()) + "'";
        sql += " where TransID=";
        sql += std::to_string(transId);
        sql += "  and CompanyID= ";
        sql += company;
        if (bound)
            conn->command(sql)->execute({common::Value(txtreason.text())});
        else
            conn->execute(sql);

        ReleaseSourceTransactions(typeName, transId);
        report::RecordEntryEvent(*conn, module_.session.companyId, transId, module_.session.userId, 'C');
        conn->commitTrans();

        grid.setTextMatrix(row, mst::Cancel, "Yes");
        for (int c = 0; c < grid.cols(); ++c) grid.setCellBackColor(row, c, kCancelledColor);
        // The browser's Delete follows the row it stays on: a cancelled entry cannot be cancelled again.
        module_.FrmMaster().CmdDelete.setEnabled(false);

        cmdok.setEnabled(false);
        unload();
    } catch (const common::Error& e) {
        try {
            if (conn != nullptr && conn->inTransaction()) conn->rollbackTrans();
        } catch (const common::Error&) {
            // The connection is gone, and the transaction with it; the error below says why.
        }
        module_.LogError("frmcancell", "Cmdok_Click ", e);
    }
}

bool frmcancell::EntryClosedMeanwhile(int row, int32_t transId) {
    // The browser's row may be older than another user's cancellation or posting: cancelling
    // again would release the sources that a newer entry links and overwrite the first reason.
    auto rs = module_.connection().open(
        "select Cancelled, Posted from " + module_.session.tables.paPayAccLinkHeader +
            " with (updlock, holdlock) where CompanyID=" + std::to_string(module_.session.companyId) +
            " and TransID=" + std::to_string(transId),
        data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    const bool found = !rs->eof();
    const bool cancelled = found && rs->field("Cancelled").isOne();
    const bool posted = found && rs->field("Posted").isOne();
    rs->close();
    if (!cancelled && !posted) return false;

    ui::FlexGrid& grid = module_.FrmMaster().flexMaster;
    grid.setTextMatrix(row, mst::Cancel, cancelled ? "Yes" : "No");
    grid.setTextMatrix(row, mst::Posted, posted ? "Yes" : "No");
    if (cancelled) {
        for (int c = 0; c < grid.cols(); ++c) grid.setCellBackColor(row, c, kCancelledColor);
        module_.FrmMaster().CmdDelete.setEnabled(false);
    }
    return true;
}

void frmcancell::ReleaseSourceTransactions(const std::string& typeName, int32_t transId) {
    const std::string company = std::to_string(module_.session.companyId);
    std::string sql = "Select distinct RefTransID from ";
    sql += module_.session.tables.paPayAccLinkDetails;
    sql += " where CompanyID=";
    sql += company;
    sql += " and TransID=";
    sql += std::to_string(transId);
    auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);

    // An entry of a type this build does not know keeps its sources' flags.
    const common::TransactionType* type = common::TypeOfName(typeName);
    while (!rs->eof()) {
        const std::string refTransId = rs->field("RefTransID").toText();
        if (type != nullptr) {
            const common::SourceTable& source = *type->source;
            module_.connection().execute(std::string("update ") + source.table + " set " + source.posted +
                                         "=0 where " + source.company + "=" + company + " and " + source.key +
                                         "=" + refTransId);
        }
        rs->moveNext();
    }
    rs->close();
}

void frmcancell::txtreason_KeyPress(int16_t& keyAscii) {
    // The reason is stored as typed, apostrophes included: the statement doubles them.
    if (keyAscii == ui::vbKeyReturn) cmdok.setFocus();
}

// Only Ok cancels the entry: Keep entry, like Escape and the window's frame, leaves it as it
// was. (The classic screen took a close for Ok, so it could not be left without cancelling.)
void frmcancell::cmdKeep_Click() { unload(); }

}  // namespace linking
