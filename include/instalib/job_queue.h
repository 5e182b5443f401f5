// CJobQueue: the product's job queue, through the core library KVCORE.DLL in the product's home directory. The library
// is loaded for each call. The records belong to it and are passed on unread, as all arguments are.
#ifndef INSTALIB_JOB_QUEUE_H
#define INSTALIB_JOB_QUEUE_H

#include "instalib/string.h"
#include "instalib/windows_types.h"

struct tagQJOBITEM;
struct tagQUEUEINFO;

// Where nothing else is said the answer is 1 when the core library reports success and 0 otherwise: also when the
// product's home directory, the library or its entry point is missing. Nothing is raised.
class INSTALIB_API CJobQueue {
  public:
    // Remembers whether the queue's storage exists now; Exists answers it.
    CJobQueue();
    int Exists() const;

    // The directory of the queue's storage; empty when the home directory is not known.
    static CString GetPath();
    // Whether that directory exists.
    static int QueueExists();
    // Deletes it with all it holds; see CComputer::DeleteTree. 0, touching nothing, when the home directory is not
    // known.
    static int DeleteQueue();
    // Creates the product's queue with this text; an existing one counts as created.
    static int CreateQueue(const char* text);
    static int GetQueueJobs(const char* queue, DWORD first, tagQJOBITEM* items, DWORD size, DWORD* count,
                            tagQUEUEINFO* information);
    // What the core library maps the two status words to; 2 when it cannot be asked.
    static DWORD GetQueueJobStatus(DWORD status, DWORD result);
    static int AddQueueJob(const char* queue, const char* job, WORD type, const char* text, DWORD flags, DWORD* number);
    static int DeleteQueueJob(const char* queue, DWORD job, DWORD flags);
    static int GetDefaultQueue(char* machine, char* queue, DWORD* number);

  private:
    int m_nExists;
};

#endif
