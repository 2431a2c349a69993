// The second thread that the core's paired work may use (see plist/paired_work.h). Every front end
// calls useWorkerThread() once at start; on a machine with one core it leaves the work unsplit unless
// told otherwise (the tests split it everywhere).
#pragma once

namespace numbrel {

void useWorkerThread(bool evenOnOneCore = false);

}  // namespace numbrel
