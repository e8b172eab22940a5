#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <unistd.h>

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include "core/platform/FileError.h"
#include "core/platform/Folder.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk {
namespace {

// From here on this process has no openat2, like one on a kernel before 5.6.
bool forbidOpenat2() {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {sizeof rules / sizeof *rules, rules};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

bool leadsOutside(const Folder& folder, const char* path) {
  try {
    folder.read(path);
    return false;
  } catch (const OutsideFolderError&) {
    return true;
  }
}

TEST(Folder, KeepsInsideOnKernelsWithoutOpenat2) {
  const test::TemporaryFolder folder;
  folder.write("In/Note.md", "text");
  std::filesystem::create_symlink("In/Note.md", folder.at("inside.md"));
  std::filesystem::create_symlink("/etc/hostname", folder.at("outside.md"));
  const pid_t child = fork();
  if (child == 0) {
    if (!forbidOpenat2()) _exit(2);
    const Folder vault = Folder::open(folder.path());
    vault.replaceFile("inside.md", "new");
    const bool works = vault.openFolder("In").read("Note.md") == "new" && vault.entries().size() == 3;
    _exit(works && leadsOutside(vault, "outside.md") && leadsOutside(vault, "../support") ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (WEXITSTATUS(status) == 2) GTEST_SKIP() << "system calls can't be filtered here";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace vesk
