#include "bench/turns.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/one_processor.h"
#include "bench/row.h"
#include "tools/harness/descriptor.h"
#include "tools/harness/private_network.h"
#include "tools/zrpdemo/product.h"

namespace zrp::bench {
namespace {

using harness::Descriptor;
using harness::Network;
using harness::NetworkKind;

constexpr int kPassesOfMany = 10;
constexpr int kPassesInLine = 3;

struct Pipe {
    Descriptor reader;
    Descriptor writer;

    Pipe() {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) == 0) {
            reader.reset(ends[0]);
            writer.reset(ends[1]);
        }
    }

    void send() const {
        [[maybe_unused]] const ssize_t count = write(writer.get(), "", 1);
    }
    void wait() const {
        char byte = 0;
        [[maybe_unused]] const ssize_t count = read(reader.get(), &byte, 1);
    }
};

struct Turn {
    pid_t process = -1;
    Pipe prepared;
    Pipe go;
};

void run_job(const Job& job, const Circumstances& circumstances) {
    try {
        job.run(circumstances);
    } catch (const std::exception& failure) {
        circumstances.waitTurn();
        print_missing(job.name, failure.what());
    }
}

[[noreturn]] void run_child(const Job& job, const Turn& turn) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    bool hasTurn = false;
    const auto waitTurn = [&] {
        if (!hasTurn) {
            turn.prepared.send();
            turn.go.wait();
            hasTurn = true;
        }
    };
    use_one_processor();
    harness::enter_private_network(); // permitted, as the parent has done it
    demo::install_product();
    run_job(job, {kPassesOfMany, waitTurn});
    fflush(stdout);
    _exit(EXIT_SUCCESS);
}

void run_side_by_side(const std::vector<Job>& jobs) {
    std::vector<Turn> turns;
    fflush(stdout); // or each child prints it again
    for (const Job& job : jobs) {
        Turn& turn = turns.emplace_back();
        turn.process = fork();
        if (turn.process == 0) {
            run_child(job, turn);
        }
        turn.prepared.writer.reset(); // a child that dies is not waited for
    }
    for (const Turn& turn : turns) {
        turn.prepared.wait();
    }
    for (const Turn& turn : turns) {
        turn.go.send();
        waitpid(turn.process, nullptr, 0);
    }
}

} // namespace

void run_jobs(const std::vector<Job>& jobs) {
    const Network network = harness::enter_private_network();
    if (network.kind == NetworkKind::kRefused || !network.root) {
        print_missing("whole program", network.root ? network.reason : "needs root");
    } else if (network.kind == NetworkKind::kPrivate) {
        run_side_by_side(jobs);
    } else {
        for (const Job& job : jobs) {
            run_job(job, {kPassesInLine, [] {}});
        }
    }
}

} // namespace zrp::bench
