#include "browser/FrmMaster.h"

#include <algorithm>
#include <string>
#include <vector>

#include "browser/GridColumns.h"
#include "common/Conv.h"
#include "common/DateTime.h"
#include "common/Error.h"
#include "common/TextOrder.h"
#include "common/Utf8.h"
#include "data/TableNames.h"
#include "linking/frmPayrollAccountsLinking.h"
#include "linking/frmcancell.h"
#include "report/VoucherQuery.h"
#include "ui/Helpers.h"

namespace browser {

namespace {

// Grid columns as the list statement returns them.
// Cancelled rows are red from TransID to cancel; the Posted cell keeps its background.
constexpr int kCancelColouredCells = 6;
constexpr uint32_t kCancelledColor = ui::RGB(255, 0, 0);

// Fitted column width per character of the longest text, and the margin around it.
constexpr int kWidthPerChar = 100, kWidthMargin = 240;

// The hourglass for the span of a sort, restored however the sort ends.
class BusyPointer {
public:
    explicit BusyPointer(ui::Toolkit& t) : toolkit_(t) { toolkit_.setBusy(true); }
    ~BusyPointer() { toolkit_.setBusy(false); }
    BusyPointer(const BusyPointer&) = delete;
    BusyPointer& operator=(const BusyPointer&) = delete;

private:
    ui::Toolkit& toolkit_;
};

}  // namespace

FrmMaster::FrmMaster(entry::Module& module)
    : ui::Form(module.toolkit(), "FrmMaster", "Payroll Accounts Linking"),
      flexMaster(add<ui::FlexGrid>("flexMaster")),
      fraBrowse(add<ui::Frame>("fraBrowse", "Browse")),
      lblsearch(add<ui::Label>("lblsearch", "&Search On:", &fraBrowse)),
      cboColNames(add<ui::ComboBox>("cboColNames", &fraBrowse, ui::ComboBox::Style::DropDownList)),
      txtsearch(add<ui::TextBox>("txtsearch", &fraBrowse)),
      cboSearch(add<ui::ComboBox>("cboSearch", &fraBrowse, ui::ComboBox::Style::DropDownList)),
      optAscend(add<ui::OptionButton>("optAscend", "Ascending", &fraBrowse)),
      optDescend(add<ui::OptionButton>("optDescend", "Descending", &fraBrowse)),
      cmdnew(add<ui::CommandButton>("cmdnew", "&New")),
      CmdEdit(add<ui::CommandButton>("CmdEdit", "&Edit")),
      CmdDelete(add<ui::CommandButton>("CmdDelete", "&Delete")),
      cmdPrint(add<ui::CommandButton>("cmdPrint", "&Print")),
      CmdClose(add<ui::CommandButton>("CmdClose", "&Close")),
      module_(module) {
    // Ctrl+D reaches the form whichever control has the focus.
    keyPreview = true;
    optAscend.setValue(true);

    flexMaster.RowColChange = [this] { flexMaster_RowColChange(); };
    cboColNames.Click = [this] { cboColNames_Click(); };
    optAscend.Click = [this] { optAscend_Click(); };
    optDescend.Click = [this] { optDescend_Click(); };
    txtsearch.KeyUp = [this](int16_t& k, int16_t shift) { txtsearch_KeyUp(k, shift); };
    cboColNames.KeyPress = [this](int16_t& k) { ui::SendTabOnEnter(toolkit(), k); };
    cboSearch.KeyPress = [this](int16_t& k) { ui::SendTabOnEnter(toolkit(), k); };
    optAscend.KeyPress = [this](int16_t& k) { ui::SendTabOnEnter(toolkit(), k); };
    optDescend.KeyPress = [this](int16_t& k) { ui::SendTabOnEnter(toolkit(), k); };
    txtsearch.KeyPress = [this](int16_t& k) { ui::SendTabOnEnter(toolkit(), k); };
    cmdnew.Click = [this] { cmdnew_Click(); };
    CmdEdit.Click = [this] { CmdEdit_Click(); };
    CmdDelete.Click = [this] { CmdDelete_Click(); };
    cmdPrint.Click = [this] { cmdPrint_Click(); };
    CmdClose.Click = [this] { CmdClose_Click(); };
}

FrmMaster::~FrmMaster() = default;

void FrmMaster::Form_Load() {
    gen_ = std::make_unique<suite::clsCommonGen>();
    db_ = std::make_unique<suite::ClsCommonDb>();
    module_.connection();
    db_->adocon = module_.session.connection;

    helpFile_ = module_.helpFile();

    try {
        data::AssignTableName(module_.connection(), module_.session.tables);
    } catch (const common::Error& e) {
        // The load goes on with the names it has. A later Show keeps those of the first and logs
        // the failure as any handler does; before any mapping the log could not even name the
        // user, so the first statement that needs a missing name is what the user sees fail.
        if (!module_.session.tables.pusers.empty()) module_.LogError("FrmMaster", "AssignTableName", e);
    }

    // The suite's settings table is named literally here, not through the mapping.
    db_->strTablename = "psettings";
    const int16_t previousDays =
        db_->fnReturnField("noofpreviousdays", "companyid=" + std::to_string(module_.session.companyId))
            .toInt16();

    const data::TableNames& t = module_.session.tables;
    std::string sql;
    sql = "select TransID, TransNo, TransDate, Case ";
    const char* when = "when TransType='";
    for (const auto& type : entry::TransactionTypes()) {
        sql += when;
        when = "' when TransType='";
        sql += type.code;
        sql += "' then '";
        sql += type.name;
    }
    sql += "' End Type, dm.DepartmentName,  ";
    sql += " case when Cancelled=1 then 'Yes' else 'No' end cancel, ";
    sql += " case when Posted=1 then 'Yes' else 'No' end Posted ";
    sql += " From ";
    sql += t.paPayAccLinkHeader;
    sql += " pa, ";
    sql += t.pDepartment;
    sql += " dm Where pa.CompanyID = dm.CompanyID and";
    sql += " pa.DepartmentID=dm.DepartmentID and";
    sql += " pa.companyid=";
    sql += std::to_string(module_.session.companyId);
    module_.session.listBaseQuery = sql;
    previousDays_ = previousDays;
    PopulateRecentEntries();

    SecurityCheck(module_.session.interfaceId);
}

void FrmMaster::PopulateRecentEntries() {
    if (previousDays_ < 1) {
        GridPopulate(module_.session.listBaseQuery);
    } else {
        const common::DateTime from =
            common::addDays(common::toDate(module_.session.processDate), -previousDays_);
        GridPopulate(module_.session.listBaseQuery +
                     " and TransDate>=" + module_.connection().dialect().dateLiteral(from, "yyyy/mm/dd"));
    }
}

void FrmMaster::Form_Unload(int& cancel) {
    (void)cancel;
    gen_.reset();
    db_.reset();
}

void FrmMaster::Form_KeyPress(int16_t& keyAscii) {
    constexpr int16_t kCtrlD = 4;
    if (keyAscii == kCtrlD) flexMaster.clearStructure();
}

void FrmMaster::GridPopulate(const std::string& sql) {
    auto rs = module_.connection().open(sql, data::CursorType::Keyset, data::LockType::Optimistic);
    // The entry selected before the refill stays selected wherever it is listed now.
    const std::string selectedId = flexMaster.row() >= 1 && flexMaster.cols() > mst::TransID
                                       ? flexMaster.textMatrix(flexMaster.row(), mst::TransID)
                                       : std::string();

    const int cols = rs->fieldCount();
    flexMaster.setCols(cols);
    widths_.assign(static_cast<size_t>(cols), 0);

    std::vector<std::vector<std::string>> rows;
    rows.reserve(rs->rows().size());
    while (!rs->eof()) {
        std::vector<std::string> cells;
        cells.reserve(static_cast<size_t>(cols));
        for (int c = 0; c < cols; ++c) {
            const common::Value& v = rs->field(c);
            std::string text = c == mst::TransDate ? common::formatDate(v.toDate(), "dd/MM/yyyy")
                                                   : common::Trim(v.joinText());
            widths_[static_cast<size_t>(c)] = std::max(widths_[static_cast<size_t>(c)], text.size());
            cells.push_back(std::move(text));
        }
        rows.push_back(std::move(cells));
        rs->moveNext();
    }
    flexMaster.setData(std::move(rows));

    GridColor();
    FillColumnHeaders("paPayAccLinkHeader");

    rs->close();
    if (!selectedId.empty())
        for (int r = 1; r < flexMaster.rows(); ++r)
            if (flexMaster.textMatrix(r, mst::TransID) == selectedId) {
                if (r != flexMaster.row()) flexMaster.setRow(r);
                break;
            }
}

void FrmMaster::FillColumnHeaders(const std::string& tableName) {
    std::string sql = "select tc.columnheader,tc.columnname from ptables t, ";
    sql += module_.session.tables.ptablecolumns;
    sql += " tc where t.tableid = tc.tableid and tablename ='";
    sql += tableName;
    sql += "' and tc.tableid=60";
    sql += " order by columnid";
    auto rs = module_.connection().open(sql, data::CursorType::Keyset, data::LockType::Optimistic);

    cboColNames.clear();
    cboSearch.clear();
    // Captions are matched to the list's columns by position only.
    for (int col = 0; !rs->eof(); ++col, rs->moveNext()) {
        const std::string header = rs->field("columnheader").toText();
        flexMaster.setTextMatrix(0, col, header);
        if (static_cast<size_t>(col) < widths_.size())
            widths_[static_cast<size_t>(col)] = std::max(widths_[static_cast<size_t>(col)], header.size());
        // A Null column name compares as neither equal nor unequal, so it is left out too.
        const common::Value& name = rs->field("columnname");
        if (name.isNull() || common::Trim(name.toText()) == "eEmpNo") continue;
        cboColNames.addItem(header);
        cboColNames.setItemData(cboColNames.newIndex(), col);
        cboSearch.addItem(header);
        cboSearch.setItemData(cboSearch.newIndex(), col);
    }
    rs->close();

    for (size_t c = 0; c < widths_.size(); ++c)
        flexMaster.setColWidth(static_cast<int>(c),
                               static_cast<int>(widths_[c]) * kWidthPerChar + kWidthMargin);
}

void FrmMaster::GridColor() {
    for (int r = 1; r < flexMaster.rows(); ++r) {
        if (flexMaster.textMatrix(r, mst::Cancel) != "Yes") continue;
        for (int c = 0; c < kCancelColouredCells; ++c) flexMaster.setCellBackColor(r, c, kCancelledColor);
    }
    // The old colouring walked the rows up to the current one through the Type column, and
    // the browser has always been left with its current cell there.
    if (flexMaster.row() >= 1) flexMaster.setCol(mst::Type);
}

void FrmMaster::SecurityCheck(int32_t& interfaceId) {
    std::string sql = "Select FunctionRights from ";
    sql += module_.session.tables.puserrights;
    sql += " where companyid = ";
    sql += std::to_string(module_.session.companyId);
    sql += " and userid = ";
    sql += std::to_string(module_.session.userId);
    sql += " and interfaceid = ";
    sql += std::to_string(interfaceId);
    auto rs = module_.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);

    if (!rs->eof()) {
        rights_ = rs->field(0).toText();
        cmdnew.setEnabled(rights_.find('N') != std::string::npos);
        CmdEdit.setEnabled(rights_.find('E') != std::string::npos);
        CmdDelete.setEnabled(rights_.find('D') != std::string::npos);
        cmdPrint.setEnabled(rights_.find('P') != std::string::npos);
    } else {
        // The suite's administrator has every right unless a rights row says otherwise.
        const bool all = module_.session.userId == 1;
        cmdnew.setEnabled(all);
        CmdEdit.setEnabled(all);
        CmdDelete.setEnabled(all);
        cmdPrint.setEnabled(all);
    }
    rs->close();
    CmdClose.setEnabled(true);
}

void FrmMaster::flexMaster_RowColChange() {
    // Re-applied from the kept string only: the administrator rule holds at load alone.
    cmdnew.setEnabled(rights_.find('N') != std::string::npos);
    CmdEdit.setEnabled(rights_.find('E') != std::string::npos);
    cmdPrint.setEnabled(rights_.find('P') != std::string::npos);
    // A cancelled entry cannot be cancelled again.
    const bool cancelled =
        flexMaster.cols() > mst::Cancel && flexMaster.textMatrix(flexMaster.row(), mst::Cancel) == "Yes";
    CmdDelete.setEnabled(rights_.find('D') != std::string::npos && !cancelled);
}

void FrmMaster::cmdnew_Click() {
    module_.EntryMode = "N";
    module_.showModal(module_.frmPayrollAccountsLinking());
}

void FrmMaster::CmdEdit_Click() {
    int32_t transId = common::CLng(common::Val(flexMaster.textMatrix(flexMaster.row(), mst::TransID)));
    if (transId == 0) return;
    module_.EntryMode = "E";
    // A cancelled entry may be looked at but not saved again.
    if (flexMaster.textMatrix(flexMaster.row(), mst::Cancel) == "Yes")
        module_.frmPayrollAccountsLinking().cmdOk.setEnabled(false);
    EditClick(transId);
    module_.showModal(module_.frmPayrollAccountsLinking());
}

void FrmMaster::CmdDelete_Click() {
    const int32_t transId = common::CLng(common::Val(flexMaster.textMatrix(flexMaster.row(), mst::TransID)));
    if (transId == 0) return;
    if (module_.MsgBox("Are you sure you want to delete Entry - " +
                           flexMaster.textMatrix(flexMaster.row(), mst::TransNo) + "?",
                       ui::vbYesNo + ui::vbCritical + ui::vbDefaultButton2) == ui::vbNo)
        return;
    if (IsEntryPosted(module_)) {
        module_.MsgBox("Entry Posted. Cannot Delete.", ui::vbOKOnly + ui::vbInformation);
        return;
    }
    // Deleting an entry means cancelling it with a reason; its rows are kept.
    module_.showModal(module_.frmcancell());
}

void FrmMaster::cmdPrint_Click() {
    // The voucher is read afresh from the database, so it shows the entry as saved even when
    // the grid is older than a change made elsewhere.
    const int32_t transId = common::CLng(common::Val(flexMaster.textMatrix(flexMaster.row(), mst::TransID)));
    if (transId == 0) return;
    report::Voucher voucher;
    {
        BusyPointer busy(toolkit());
        const report::Session session{module_.connection(), module_.session.tables, module_.session.companyId,
                                      module_.session.userId};
        voucher = report::LoadVoucher(session, transId, report::NowText());
    }
    toolkit().previewVoucher(voucher);
}

void FrmMaster::CmdClose_Click() {
    // Only the Close button lets go of the session connection; the host keeps its own.
    module_.session.connection.reset();
    unload();
}

void FrmMaster::cboColNames_Click() {
    BusyPointer busy(toolkit());
    const int index = cboColNames.listIndex();
    if (index == -1) return;
    // The date column has always been sorted through column 1, whatever the caption's data.
    const int col = common::ContainsNoCase(cboColNames.list(index), "date")
                        ? 1
                        : static_cast<int>(cboColNames.itemData(index));
    flexMaster.setCol(col);
    flexMaster.setColSel(col);
    flexMaster.sort(optAscend.value() ? ui::FlexGrid::flexSortGenericAscending
                                      : ui::FlexGrid::flexSortGenericDescending);
}

void FrmMaster::optAscend_Click() {
    // The next choice of column sorts in the new direction.
    cboColNames.setListIndex(-1);
}

void FrmMaster::optDescend_Click() { cboColNames.setListIndex(-1); }

void FrmMaster::txtsearch_KeyUp(int16_t& keyCode, int16_t shift) {
    (void)keyCode;
    (void)shift;
    lastSearchMatch_ = -1;
    if (!common::Trim(txtsearch.text()).empty()) SearchGrid();
}

void FrmMaster::SearchGrid() {
    const int index = cboSearch.listIndex();
    if (index == -1) return;
    const int col = static_cast<int>(cboSearch.itemData(index));
    flexMaster.setCol(col);
    flexMaster.setColSel(col);
    // The search shows the first match in ascending order.
    flexMaster.sort(ui::FlexGrid::flexSortGenericAscending);

    lastSearchMatch_ = 0;
    if (flexMaster.rows() < 2) return;

    const std::string search = common::Trim(txtsearch.text());
    const bool numeric = common::IsNumeric(search);
    const double searchNumber = numeric ? common::Val(search) : 0.0;
    const size_t searchLength = common::utf8Length(search);

    // The first match in the sorted order. Every row is looked at: halving would need the
    // prefixes in the order the column is sorted in, which numbers inside texts (PAL/9,
    // PAL/10) and letters beyond ASCII do not keep.
    common::PrefixMatch begins(search);
    int match = 0;
    for (int r = 1; r < flexMaster.rows() && match == 0; ++r) {
        const std::string cell = common::Trim(flexMaster.textMatrix(r, col));
        const bool found =
            numeric ? common::Val(cell.substr(0, common::utf8Offset(cell, searchLength))) == searchNumber
                    : begins(cell);
        if (found) match = r;
    }
    if (match == 0) return;
    lastSearchMatch_ = match;

    flexMaster.setRow(match);
    flexMaster.setRowSel(match);
    flexMaster.setCol(0);
    flexMaster.setColSel(flexMaster.cols() - 1);
    flexMaster.setTopRow(match);
}

bool IsEntryPosted(entry::Module& module) {
    ui::FlexGrid& grid = module.FrmMaster().flexMaster;
    // "0042" is asked for as 42; an empty or heading cell asks for entry 0.
    const std::string transId = common::NumberText(common::Val(grid.textMatrix(grid.row(), mst::TransID)));

    std::string sql = "select count(1) from ";
    sql += module.session.tables.paPayAccLinkHeader;
    sql += " where CompanyID=";
    sql += std::to_string(module.session.companyId);
    sql += " and TransID=";
    sql += transId;
    sql += " and Posted=1 ";
    auto rs = module.connection().open(sql, data::CursorType::ForwardOnly, data::LockType::ReadOnly);
    const bool posted = rs->field(0).toDouble() > 0;
    rs->close();
    return posted;
}

}  // namespace browser
