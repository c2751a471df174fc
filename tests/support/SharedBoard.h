#pragma once
// What the processes of a race test share: a board where each writes what it saw, and a
// barrier that starts each round for all of them at the same moment. Made before the test
// forks; the children write into the same memory.
#include <new>
#include <pthread.h>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace testsupport {

template <typename Board> class SharedBoard {
public:
    // parties: how many processes meet at the start of each round.
    explicit SharedBoard(unsigned parties) : mCreator(::getpid()) {
        void* memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::runtime_error("no memory to share with the racing processes");
        }
        mShared = new (memory) Shared{};
        pthread_barrierattr_t attributes;
        pthread_barrierattr_init(&attributes);
        pthread_barrierattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
        const int made = pthread_barrier_init(&mShared->start, &attributes, parties);
        pthread_barrierattr_destroy(&attributes);
        if (made != 0) {
            ::munmap(memory, sizeof(Shared));
            throw std::runtime_error("no barrier for the racing processes");
        }
    }
    ~SharedBoard() {
        if (::getpid() == mCreator) {
            pthread_barrier_destroy(&mShared->start);
            ::munmap(mShared, sizeof(Shared));
        }
    }
    SharedBoard(const SharedBoard&) = delete;
    SharedBoard& operator=(const SharedBoard&) = delete;

    // Waits until every party is here, then all go at once.
    void StartRound() { pthread_barrier_wait(&mShared->start); }
    Board& operator*() { return mShared->board; }
    Board* operator->() { return &mShared->board; }

private:
    struct Shared {
        pthread_barrier_t start;
        Board board;
    };
    Shared* mShared = nullptr;
    pid_t mCreator = 0;
};

} // namespace testsupport
