// Jobs that prepare themselves side by side and then measure one after another, on a quiet machine.
// Each prints its rows in its turn.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zrp::bench {

struct Circumstances {
    int passes;                     // how many to make, each a second long
    std::function<void()> waitTurn; // called before anything is measured
};

struct Job {
    std::string name;
    std::function<void(const Circumstances& circumstances)> run;
};

// Where namespaces are permitted, each job has a process, a network and files of its own. Elsewhere
// the jobs are done one after another in less time. A job that throws has a row that says why.
void run_jobs(const std::vector<Job>& jobs);

} // namespace zrp::bench
