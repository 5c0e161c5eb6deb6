/*
 * Tells which of some instructions a program executes; preloaded into it.
 *
 * REACH_PROGRAM is the program's path: whatever else it starts is left alone. REACH_PLACES is a file
 * of the instructions' addresses, 64 bits each, ascending. REACH_HITS is a file of as many octets, which
 * become 1 as the instructions are executed. Each is replaced by a trap, which puts it back.
 */
#define _GNU_SOURCE
#include <fcntl.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <ucontext.h>
#include <unistd.h>

static uint64_t const* places;
static size_t count;
static uint8_t* hits;
static uint8_t* originals;

static void fail(char const* what) {
    perror(what);
    _exit(125);
}

static void* map(char const* name, int writable, size_t* size) {
    char const* path = getenv(name);
    const int file = path ? open(path, writable ? O_RDWR : O_RDONLY) : -1;
    struct stat status;
    if (file < 0 || fstat(file, &status) != 0)
        fail(name);
    *size = (size_t)status.st_size;
    void* mapped = mmap(NULL, *size, writable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, file, 0);
    if (mapped == MAP_FAILED)
        fail(name);
    close(file);
    return mapped;
}

static void reached(int number, siginfo_t* info, void* context) {
    (void)number, (void)info;
    greg_t* next = &((ucontext_t*)context)->uc_mcontext.gregs[REG_RIP];
    const uint64_t place = (uint64_t)*next - 1;
    size_t from = 0, to = count;
    while (from < to) {
        const size_t middle = from + (to - from) / 2;
        if (places[middle] < place)
            from = middle + 1;
        else
            to = middle;
    }
    if (from == count || places[from] != place)
        abort();
    *(uint8_t volatile*)place = originals[from];
    hits[from] = 1;
    *next = (greg_t)place;
}

__attribute__((constructor)) static void start(void) {
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    char const* program = getenv("REACH_PROGRAM");
    if (length < 0 || !program)
        fail("REACH_PROGRAM");
    path[length] = '\0';
    if (strcmp(path, program) != 0)
        return;
    size_t size;
    places = map("REACH_PLACES", 0, &size);
    count = size / sizeof *places;
    hits = map("REACH_HITS", 1, &size);
    originals = malloc(count);
    if (size != count || !originals)
        fail("REACH_HITS");
    const uint64_t page = 4095;
    const uint64_t begin = places[0] & ~page, end = (places[count - 1] + page) & ~page;
    if (mprotect((void*)begin, end - begin, PROT_READ | PROT_WRITE | PROT_EXEC) != 0)
        fail("mprotect");
    struct sigaction action = {.sa_sigaction = reached, .sa_flags = SA_SIGINFO | SA_NODEFER};
    if (sigaction(SIGTRAP, &action, NULL) != 0)
        fail("sigaction");
    for (size_t each = 0; each < count; ++each) {
        uint8_t* instruction = (uint8_t*)places[each];
        originals[each] = *instruction;
        *instruction = 0xcc;
    }
}
