// The operating-system operations behind the interrupt listener, its triggers and the
// floating-point trap switch (omn_Interrupt.h).
//
// omn_Interrupt.cpp and omn_FloatingPoint.cpp decide what happens when; each platform
// implements these in omn_InterruptPlatform_<os>.cpp. A thread handle is opaque here; null is
// the failed or absent handle. None of them throws or reports.
#pragma once

namespace vlt::detail {

// Starts `body(context)` on a new thread of the highest priority the process may give, able
// to be resumed as soon as this returns. Returns the listener's own handle and the number by
// which another process names the thread (its handle value on Windows, its thread id
// elsewhere), or null (and 0) when no thread could be made.
void* InterruptStartListener(void (*body)(void*), void* context, int& threadName);

// Called on the listener thread: sleeps until the thread is resumed.
void InterruptAwaitResume();

// Resumes the own listener thread once.
void InterruptResumeListener(void* listener);

// Waits without limit for the listener thread to end, then releases its handle.
void InterruptJoinListener(void* listener);

// Opens the listener thread that process `process` names `thread` for resuming only; null when
// there is no such listener thread or no right to resume it.
void* InterruptOpenThread(int process, int thread);

// A second handle on the same thread, or null (also for a null handle).
void* InterruptDuplicateThread(void* opened);

// Resumes the opened thread once; false when that failed (also for a null handle).
bool InterruptResumeThread(void* opened);

// Releases an opened handle; null is ignored.
void InterruptCloseThread(void* opened);

int InterruptCurrentProcess();

// Lets invalid operations, division by zero and overflow trap; the other exceptions stay
// masked. Denormal results become zero.
void FloatingPointTrapAndFlush();

} // namespace vlt::detail
