// The checked writer's refusals in the process itself, so that they hold when the suite runs as
// root where no other user can reach the built program: a state folder is made private and
// one anyone may write to is refused, sticky or not; the error log is never written through a
// link; a file its owner made read-only is kept (as root, tried by nobody in a child process).
#include "common/Files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "support/DemoSession.h"

namespace {

std::string contents(const std::string& path) {
    std::ostringstream s;
    s << std::ifstream(path).rdbuf();
    return s.str();
}

TEST(Files, PrivateFoldersLinksAndReadOnlyFilesAreRefused) {
    testsupport::TempDir tmp;
    const std::string state = tmp.file("state/payacclink"), open = tmp.file("open");
    common::makePrivateFolder(state);
    struct stat st {};
    ASSERT_EQ(::stat(state.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0700u);
    ::mkdir(open.c_str(), 0700);
    ::chmod(open.c_str(), 01777);
    EXPECT_THROW(common::checkPrivateFolder(open), common::FileError);

    std::ofstream(tmp.file("pay.csv")) << "kept";
    ::symlink(tmp.file("pay.csv").c_str(), tmp.file("error.log").c_str());
    EXPECT_THROW(common::appendPrivate(tmp.file("error.log"), "logged"), common::FileError);

    // Root may write anything: the folder and file are set up for nobody, who tries in a child.
    const bool root = ::geteuid() == 0;
    const std::string shared = tmp.file("shared"), readOnly = shared + "/ledger.csv";
    ::mkdir(shared.c_str(), 0700);
    std::ofstream(readOnly) << "kept";
    ::chmod(shared.c_str(), 0777);  // not sticky: only the file's own mode keeps it
    ::chmod(tmp.path().c_str(), 0711);
    ::chmod(readOnly.c_str(), 0444);
    const pid_t child = root ? ::fork() : 0;
    if (child == 0) {
        bool refused = false;
        if (!root || (::setgid(65534) == 0 && ::setuid(65534) == 0)) try {
                common::OutputFile out(readOnly);
                out.write("replaced");
                out.commit();
            } catch (const common::FileError&) {
                refused = true;
            }
        if (root) ::_exit(refused ? 0 : 1);
        EXPECT_TRUE(refused);
    } else {
        int status = -1;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    EXPECT_EQ(contents(readOnly), "kept");
    EXPECT_EQ(contents(tmp.file("pay.csv")), "kept");
}

}  // namespace
