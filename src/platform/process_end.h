// The end of the process while threads of the host are at work. What the process ends with, such as the
// memory that Botan shares among its users, must not be taken away under them.
#pragma once

// What the classes below call. The pause answers how many pieces of work the thread has begun and not finished,
// which is what it resumes with.
void BeginWorkBeforeEnd();
void FinishWorkBeforeEnd();
int PauseWorkBeforeEnd();
void ResumeWorkBeforeEnd(int depth);

// A thread's work that needs what ends with the process. They nest. Once the end has begun, a thread that
// begins one stays where it is, and the process ends without it.
class WorkBeforeEnd
{
public:
    WorkBeforeEnd() { BeginWorkBeforeEnd(); }
    ~WorkBeforeEnd() { FinishWorkBeforeEnd(); }
    WorkBeforeEnd(const WorkBeforeEnd&) = delete;
    WorkBeforeEnd& operator=(const WorkBeforeEnd&) = delete;
};

// The thread leaves its work for something that may take long, such as a dialog, and that the end does not
// wait for. Does nothing on a thread that is at no such work.
class PauseOfWork
{
public:
    PauseOfWork() : depth(PauseWorkBeforeEnd()) {}
    ~PauseOfWork() { ResumeWorkBeforeEnd(depth); }
    PauseOfWork(const PauseOfWork&) = delete;
    PauseOfWork& operator=(const PauseOfWork&) = delete;

private:
    int depth;
};

// From now on the end of the process waits, for two seconds at most, until no thread is at work, before it
// ends what was made before this call. Further calls do nothing.
void WaitForWorkAtProcessEnd();

// Whether that has happened.
bool ProcessIsEnding();
