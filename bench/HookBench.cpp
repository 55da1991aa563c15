// Times one run of the Claude Code status-line hook as Claude Code runs it: /bin/sh -c with the
// command from the settings and the status JSON on standard input, until the hook has printed
// its line and exited. Everything happens in a temporary home folder.
#include "core/ClaudeStatusLineInstaller.h"

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

const std::string statusInput =
    R"({"session_id":"5c1d","transcript_path":"/tmp/t.jsonl","cwd":"/src",)"
    R"("model":{"id":"claude-opus","display_name":"Opus"},"workspace":{"current_dir":"/src"},)"
    R"("version":"2.1.0","cost":{"total_cost_usd":0.01},"rate_limits":{"five_hour":)"
    R"({"used_percentage":42,"resets_at":1900000000},"seven_day":{"used_percentage":7,)"
    R"("resets_at":1900500000}}})";

// Runs the command once; returns false if it could not be run or failed.
bool runHook(const std::string& command) {
    int input[2];
    int output[2];
    if (::pipe(input) != 0 || ::pipe(output) != 0) {
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    for (const int fd : {input[0], input[1], output[0], output[1]}) {
        posix_spawn_file_actions_addclose(&actions, fd);
    }
    const char* argv[] = {"/bin/sh", "-c", command.c_str(), nullptr};
    pid_t child = 0;
    const int spawned = ::posix_spawn(&child, "/bin/sh", &actions, nullptr,
                                      const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    bool ok = spawned == 0 && ::write(input[1], statusInput.data(), statusInput.size()) ==
                                  static_cast<ssize_t>(statusInput.size());
    ::close(input[1]);
    char buffer[256];
    std::string printed;
    for (ssize_t got; (got = ::read(output[0], buffer, sizeof buffer)) > 0;) {
        printed.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(output[0]);
    int status = 0;
    ok = ok && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0 && printed.rfind("Lumora", 0) == 0;
    return ok;
}

void HookRun(benchmark::State& state) {
    QTemporaryDir home;
    ::unsetenv("XDG_DATA_HOME");
    const lumora::ClaudeStatusLineInstaller installer(home.path(), lumora::locateHookHelper());
    installer.install();
    const std::string command =
        lumora::ClaudeStatusLineInstaller::shellQuoted(installer.hookScriptPath()).toStdString();
    for (auto _ : state) {
        if (!runHook(command)) {
            state.SkipWithError("the hook failed");
            break;
        }
    }
}
BENCHMARK(HookRun)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

} // namespace

BENCHMARK_MAIN();
