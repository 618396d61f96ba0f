#include "utl_JobFileName.h"

#include "utl_CommandLine.h"

namespace {

constexpr char jobOption[] = "job";

} // namespace

utl_JobFileName utl_JobFileName::FromCommandLine() {
    const utl_CommandLine& line = thr_GlobalSingleton<utl_CommandLine>::Instance();
    const cow_String named = line.ConstGetValue(jobOption, cow_String());
    if (named.Length() != 0) {
        return utl_JobFileName(named);
    }
    const cow_List<cow_String> plain = line.PlainArguments();
    return plain.Size() != 0 ? utl_JobFileName(plain.ConstGet(0)) : utl_JobFileName();
}

utl_FilePath utl_JobFileName::Directory() const {
    return IsSet() ? m_Job.DirName() : utl_FilePath();
}

cow_String utl_JobFileName::RunName() const {
    const cow_String base = m_Job.BaseName();
    const cow_String extension = m_Job.Extension();
    return extension.Length() == 0 ? base : base.Substr(0, base.Length() - extension.Length() - 1);
}

utl_FilePath utl_JobFileName::Sibling(const cow_String& extension) const {
    if (!IsSet()) {
        return utl_FilePath();
    }
    cow_String name = RunName();
    if (extension.Length() != 0) {
        name += ".";
        name += extension;
    }
    // A job named without a directory keeps its outputs named without one.
    return m_Job.BaseName() == m_Job.PathName() ? utl_FilePath(name) : Directory().Join(name);
}
