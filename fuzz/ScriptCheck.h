#pragma once
// The script runner on any text. Its parser is not separate from running, so the text runs
// as `payacclink script` would run it: the component shown on a connection that was never
// opened (the browser fails to load and says so), then the cancellation screen, which loads
// without a database, takes the lines as a modal form does. Whatever the text, the runner
// ends with "OK" or with one failure naming a line of the script.
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "Checks.h"
#include "common/Error.h"
#include "entry/Module.h"
#include "entry/qorPayrollAccounts.h"
#include "linking/frmcancell.h"
#include "script/ScriptRunner.h"
#include "ui/Headless.h"

namespace fuzzcheck {

inline void checkScriptInput(std::string_view input) {
    const std::string text(input);
    ui::HeadlessToolkit toolkit;
    std::ostringstream out;
    int status = 0;
    {
        entry::Module module(toolkit);
        entry::qorPayrollAccounts component(module);
        component.strProjectKey = entry::kProjectKey;
        component.MsgboxTitle = "Payroll Accounts Linking";
        component.ProcessDate = "15/10/2026";
        component.intUserID = 1;
        component.intCompanyID = 1;
        component.intInterfaceID = 60;

        std::istringstream in(text);
        script::ScriptRunner runner(toolkit, out);
        status = runner.run(in, [&] {
            try {
                component.Show();
            } catch (const common::Error& e) {
                toolkit.showError(e);
            }
            module.showModal(module.frmcancell());
        });
        module.collect();
    }

    const std::string transcript = out.str();
    const std::string at = " for the script " + printable(text) + ":\n" + transcript;
    require(status == 0 || status == 1, "status " + std::to_string(status) + at);
    require(!transcript.empty() && transcript.back() == '\n', "the transcript does not end a line" + at);
    const size_t lastStart = transcript.rfind('\n', transcript.size() - 2);
    const std::string last = transcript.substr(lastStart == std::string::npos ? 0 : lastStart + 1);
    if (status == 0) {
        require(last == "OK\n", "a script that passed does not end with OK" + at);
        return;
    }
    // Exactly one failure, the last line, naming a line that the script has.
    require(last.rfind("FAIL line ", 0) == 0, "a failed script does not end with its failure" + at);
    const size_t firstFailure =
        transcript.rfind("FAIL line ", 0) == 0 ? 0 : transcript.find("\nFAIL line ") + 1;
    require(firstFailure == (lastStart == std::string::npos ? 0 : lastStart + 1),
            "more than one failure" + at);
    const long lines = static_cast<long>(std::count(text.begin(), text.end(), '\n')) +
                       (!text.empty() && text.back() != '\n' ? 1 : 0);
    const long number = std::strtol(last.c_str() + 10, nullptr, 10);
    require(number >= 1 && number <= lines,
            "the failure names line " + std::to_string(number) + " of " + std::to_string(lines) + at);
}

}  // namespace fuzzcheck
