// The analysis job that a process runs, and the names of the files it writes.
//
// A job is named by its input file ("runs/wing.inp"). Its directory holds the outputs and its
// run name, the base name without its extension ("wing"), names them: the resource monitor's
// `Initialize` takes the run name, and `Sibling("use")` gives "runs/wing.use".
//
// The client names the job, or the command line does: the value of the option "-job" when it is
// given, otherwise the first argument that is neither an option nor an option's value. Since an
// option takes the word after it as its value ("prog -v wing.inp" gives v = "wing.inp"), a job
// named without "-job" comes before the options.
//
// A plain value: a copy shares the path's text.
#pragma once

#include "cow_String.h"
#include "utl_FilePath.h"
#include "vlt_Export.h"

class VLTUTL_API utl_JobFileName {
public:
    // No job: IsSet() is false and every name is empty.
    utl_JobFileName() = default;
    explicit utl_JobFileName(const utl_FilePath& job) : m_Job(job) {}

    // The job of the process's command line (see above); no job when it names none.
    static utl_JobFileName FromCommandLine();

    bool IsSet() const { return m_Job.PathName().Length() != 0; }
    // The job file as it was named.
    const utl_FilePath& Path() const { return m_Job; }
    // The directory of the job file ("." for a bare name).
    utl_FilePath Directory() const;
    // The base name without its extension: "wing" for "runs/wing.inp", ".profile" for itself.
    cow_String RunName() const;
    // The run name with another extension, in the job's directory: "runs/wing.<extension>". An
    // empty extension gives the run name alone.
    utl_FilePath Sibling(const cow_String& extension) const;

private:
    utl_FilePath m_Job;
};
