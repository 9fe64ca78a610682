// What a process tells the front: that it has been loaded, that it is let go of, and forks. The functions OnFrontLoad and
// so on are defined by the room of the exported functions, and called from here.
#pragma once

namespace front {

// Once, when the front has been loaded into a process.
void OnFrontLoad();

// When the front is unloaded or the process ends. On Windows not at the end of a process, which has killed the other
// threads before, wherever they were.
void OnFrontUnload();

// Around each fork, where there are forks; in this order, the last two in different processes.
void BeforeFork();
void AfterForkInParent();
void AfterForkInChild();

} // namespace front
