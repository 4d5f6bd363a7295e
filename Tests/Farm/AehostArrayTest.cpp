// aehost on a render farm: tools/farm/submit splits an image sequence into the tasks of a Slurm
// array job on a private one-machine cluster (munged, slurmctld and slurmd of the test's own,
// configured in its folder), and every frame must be that of one aehost run, byte for byte,
// also after a task is cancelled half-way and submitted again.
#include <gtest/gtest.h>

#include <OpenImageIO/imagebuf.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A shell command's standard output, without its last newline.
std::string Shell(const std::string& command, int* status = nullptr) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string out;
    char buffer[4096];
    for (size_t n; pipe && (n = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0;) {
        out.append(buffer, n);
    }
    const int result = pipe ? pclose(pipe) : -1;
    if (status) {
        *status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    }
    while (!out.empty() && out.back() == '\n') {
        out.pop_back();
    }
    return out;
}

bool WaitUntil(const std::function<bool()>& done, double seconds) {
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (!done()) {
        if (Clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string FrameName(int frame) {
    char name[32];
    std::snprintf(name, sizeof(name), "f.%04d.png", frame);
    return name;
}

// Frames 1 to `count` of noise, RGBA, each different.
void WriteFrames(const fs::path& folder, int count, int width, int height) {
    fs::create_directories(folder);
    for (int frame = 1; frame <= count; ++frame) {
        std::mt19937 random(static_cast<unsigned>(frame));
        std::vector<unsigned char> pixels(static_cast<size_t>(width) * height * 4);
        for (unsigned char& value : pixels) {
            value = static_cast<unsigned char>(random());
        }
        OIIO::ImageBuf image(OIIO::ImageSpec(width, height, 4, OIIO::TypeDesc::UINT8));
        image.set_pixels(OIIO::ROI::All(), OIIO::TypeDesc::UINT8, pixels.data());
        ASSERT_TRUE(image.write((folder / FrameName(frame)).string())) << image.geterror();
    }
}

// Ports that nothing listens on now, for the cluster's daemons.
std::vector<int> FreePorts(int count) {
    std::vector<int> sockets, ports;
    for (int i = 0; i < count; ++i) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        socklen_t size = sizeof(address);
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
        sockets.push_back(fd);
        ports.push_back(ntohs(address.sin_port));
    }
    for (int fd : sockets) {
        close(fd);
    }
    return ports;
}

// A single-node Slurm cluster whose files all lie in one folder. Its daemons run in the
// foreground as children of the test, so that they are stopped by their ids, and die with it.
class SlurmCluster {
public:
    explicit SlurmCluster(const fs::path& dir) : mDir(dir) {}
    ~SlurmCluster() { stop(); }

    // Starts munged, slurmctld and slurmd; empty once the node takes jobs, else what failed.
    std::string start() {
        fs::create_directories(mDir / "state");
        fs::create_directories(mDir / "spool");
        std::random_device random;
        std::string key(1024, '\0');
        for (char& c : key) {
            c = static_cast<char>(random());
        }
        std::ofstream(mDir / "munge.key", std::ios::binary) << key;
        fs::permissions(mDir / "munge.key", fs::perms::owner_read);

        const std::string d = mDir.string();
        const fs::path socket = mDir / "munge.sock";
        launch({"munged", "-F", "--force", "--socket=" + socket.string(),
                "--key-file=" + d + "/munge.key", "--pid-file=" + d + "/munged.pid",
                "--log-file=" + d + "/munged.log", "--seed-file=" + d + "/munged.seed"},
               "munged.out");
        if (!WaitUntil([&] { return fs::exists(socket) || !running(); }, 20) || !running()) {
            return "munged did not start: " + ReadFile(mDir / "munged.out");
        }

        const std::vector<int> ports = FreePorts(2);
        const fs::path conf = mDir / "slurm.conf";
        std::ofstream(conf) << "ClusterName=farmtest\nSlurmctldHost=localhost\nSlurmUser=root\n"
                            << "SlurmctldPort=" << ports[0] << "\nSlurmdPort=" << ports[1] << "\n"
                            << "AuthType=auth/munge\nAuthInfo=socket=" << socket.string() << "\n"
                            << "MpiDefault=none\nProctrackType=proctrack/linuxproc\n"
                            << "TaskPlugin=task/none\nReturnToService=2\n"
                            << "SchedulerType=sched/backfill\nSelectType=select/cons_tres\n"
                            << "SelectTypeParameters=CR_Core\nStateSaveLocation=" << d
                            << "/state\nSlurmdSpoolDir=" << d << "/spool\n"
                            << "SlurmctldPidFile=" << d << "/slurmctld.pid\nSlurmdPidFile=" << d
                            << "/slurmd.pid\nSlurmctldLogFile=" << d
                            << "/slurmctld.log\nSlurmdLogFile=" << d << "/slurmd.log\n"
                            << "NodeName=localhost CPUs=2 State=UNKNOWN\n"
                            << "PartitionName=main Nodes=localhost Default=YES "
                               "MaxTime=INFINITE State=UP\n";
        // For sbatch, squeue and scancel, run from here.
        setenv("SLURM_CONF", conf.c_str(), 1);
        launch({"slurmctld", "-D", "-f", conf.string()}, "slurmctld.out");
        launch({"slurmd", "-D", "-N", "localhost", "-f", conf.string()}, "slurmd.out");
        if (!WaitUntil([&] { return Shell("sinfo -h -o %t 2>&1") == "idle" || !running(); }, 30) ||
            !running()) {
            return "the node is not idle: " + Shell("sinfo 2>&1") + "\n" +
                   ReadFile(mDir / "slurmctld.log") + ReadFile(mDir / "slurmd.log");
        }
        return "";
    }

    // Cancels what is left of the jobs, then stops each daemon by its id.
    void stop() {
        if (mDaemons.size() == 3 && !Shell("squeue -h -o %i").empty()) {
            Shell("scancel --partition=main");
            WaitUntil([] { return Shell("squeue -h -o %i").empty(); }, 15);
        }
        while (!mDaemons.empty()) {
            const pid_t pid = mDaemons.back();
            mDaemons.pop_back();
            kill(pid, SIGTERM);
            if (!WaitUntil([pid] { return waitpid(pid, nullptr, WNOHANG) != 0; }, 10)) {
                kill(pid, SIGKILL);
                waitpid(pid, nullptr, 0);
            }
        }
    }

private:
    void launch(const std::vector<std::string>& words, const std::string& log) {
        const std::string path = (mDir / log).string();
        int input[2];
        if (pipe(input) != 0) {
            return;
        }
        const pid_t pid = fork();
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            // Standard input an empty pipe, the rest to a log in the folder.
            close(input[1]);
            const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (fd < 0 || dup2(input[0], 0) < 0 || dup2(fd, 1) < 0 || dup2(fd, 2) < 0) {
                _exit(126);
            }
            std::vector<char*> argv;
            for (const std::string& word : words) {
                argv.push_back(const_cast<char*>(word.c_str()));
            }
            argv.push_back(nullptr);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        close(input[0]);
        close(input[1]);
        if (pid > 0) {
            mDaemons.push_back(pid);
        }
    }

    // Every daemon launched is still there.
    bool running() const {
        for (pid_t pid : mDaemons) {
            if (waitpid(pid, nullptr, WNOHANG) != 0) {
                return false;
            }
        }
        return true;
    }

    fs::path mDir;
    std::vector<pid_t> mDaemons;
};

class Farm : public ::testing::Test {
protected:
    void SetUp() override {
        // Short: slurmd's sockets in it are named after jobs, within 108 characters.
        static int count = 0;
        dir = fs::temp_directory_path() /
              ("farm-" + std::to_string(getpid()) + "-" + std::to_string(++count));
        fs::remove_all(dir);
        fs::create_directories(dir / "out");
    }
    void TearDown() override {
        cluster.reset();
        // What the tasks and the daemons said, for a failure on a machine no one can log in to.
        for (const char* folder : {"logs", "slurm"}) {
            for (const fs::directory_entry& entry : fs::directory_iterator(dir / folder, error)) {
                if (HasFailure() && entry.path().extension() == ".log") {
                    std::cout << "--- " << entry.path().filename().string() << "\n"
                              << ReadFile(entry.path());
                }
            }
        }
        fs::remove_all(dir);
    }

    // aehost on the sequence in/ into out/, in the test's folder; its exit status.
    int aehost(const std::string& options) {
        return std::system(("cd '" + dir.string() + "' && timeout 60 '" AEHOST_PATH "' " + options +
                            " in/f.%04d.png out/f.%04d.png 2> log")
                               .c_str());
    }

    // Submits the sequence to Slurm in chunks of 5; the job's id.
    std::string submit(const std::string& options, const std::string& aehostOptions = "",
                       const std::string& environment = "") {
        return Shell(environment + " '" SUBMIT_PATH "' --chunk 5 --sbatch=--chdir=" + dir.string() +
                     " --sbatch=--output=" + (dir / "logs").string() + "/%A_%a.log " + options +
                     " 1-24 " + (dir / "in/f.%04d.png").string() + " " +
                     (dir / "out/f.%04d.png").string() + " --blur 3 " + aehostOptions);
    }

    // Waits for the job's tasks to end; their states, a line each.
    static std::string States(const std::string& job) {
        EXPECT_TRUE(WaitUntil([&] { return Shell("squeue -h -j " + job).empty(); }, 60));
        return Shell("scontrol -o show job " + job + " | grep -o 'JobState=[A-Z]*'");
    }

    // Each output frame is the reference's, byte for byte.
    void expectFramesAsOneRun() {
        for (int frame = 1; frame <= 24; ++frame) {
            const std::string bytes = ReadFile(dir / "out" / FrameName(frame));
            EXPECT_FALSE(bytes.empty()) << FrameName(frame);
            EXPECT_TRUE(bytes == ReadFile(dir / "ref" / FrameName(frame))) << FrameName(frame);
        }
    }

    fs::path dir;
    std::optional<SlurmCluster> cluster;
    std::error_code error;
};

} // namespace

TEST_F(Farm, SkipExistingLeavesFinishedFramesAloneAndLogsALinePerFrame) {
    WriteFrames(dir / "in", 3, 8, 6);
    std::ofstream(dir / "out" / FrameName(2)) << "finished";
    ASSERT_EQ(aehost("--skip-existing --frames 1-3"), 0) << ReadFile(dir / "log");
    // Standard error is a file here, as in a farm's log: a line per frame, no bar.
    EXPECT_EQ(ReadFile(dir / "log"), "frame 1 done (1 of 3)\nframe 2 exists, skipped (2 of 3)\n"
                                     "frame 3 done (3 of 3)\n");
    EXPECT_EQ(ReadFile(dir / "out" / FrameName(2)), "finished");
    EXPECT_EQ(ReadFile(dir / "out" / FrameName(3)).substr(1, 3), "PNG");
    // Asked to, a run renders the frame again.
    ASSERT_EQ(aehost("--frames 2-2"), 0) << ReadFile(dir / "log");
    EXPECT_EQ(ReadFile(dir / "out" / FrameName(2)).substr(1, 3), "PNG");
}

TEST_F(Farm, SlurmArrayGivesOneRunsFramesAndACancelledTaskFinishesOnReRun) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "starting Slurm's daemons needs root";
    }
    const std::string tools = "munged slurmctld slurmd sbatch squeue scancel sinfo scontrol";
    if (Shell("for t in " + tools + "; do command -v $t; done | wc -l") != "8") {
        GTEST_SKIP() << "needs " << tools << " (Debian: slurmctld slurmd slurm-client munge)";
    }
    cluster.emplace(dir / "slurm");
    const std::string failure = cluster->start();
    ASSERT_EQ(failure, "");
    WriteFrames(dir / "in", 24, 64, 48);
    fs::create_directories(dir / "logs");
    // The tasks' aehost, handed on by sbatch with the rest of the environment.
    setenv("AEHOST", AEHOST_PATH, 1);

    fs::create_directories(dir / "ref");
    auto start = Clock::now();
    ASSERT_EQ(std::system(("cd '" + dir.string() +
                           "' && timeout 60 '" AEHOST_PATH
                           "' --blur 3 in/f.%04d.png ref/f.%04d.png 2> log")
                              .c_str()),
              0)
        << ReadFile(dir / "log");
    const double single = SecondsSince(start);

    start = Clock::now();
    const std::string done = "JobState=COMPLETED";
    EXPECT_EQ(States(submit("")), done + "\n" + done + "\n" + done + "\n" + done + "\n" + done);
    const double farm = SecondsSince(start);
    expectFramesAsOneRun();
    std::cout << "24 frames in 5 tasks on Slurm: " << farm << " s; in one aehost: " << single
              << " s\n";

    // Task 2 (frames 11 to 15) from nothing, held after its first frame and cancelled there.
    for (int frame = 11; frame <= 15; ++frame) {
        fs::remove(dir / "out" / FrameName(frame));
    }
    std::ofstream(dir / "paused-aehost")
        << "#!/bin/sh\nexport FARM_PAUSE_MARKER='" << (dir / "paused").string()
        << "' LD_PRELOAD='" PAUSE_PATH "'\nexec '" AEHOST_PATH "' \"$@\"\n";
    fs::permissions(dir / "paused-aehost", fs::perms::owner_all);
    std::string job = submit("--tasks 2", "", "AEHOST='" + (dir / "paused-aehost").string() + "'");
    ASSERT_TRUE(WaitUntil([&] { return fs::exists(dir / "paused"); }, 60));
    Shell("scancel " + job + "_2");
    EXPECT_EQ(States(job), "JobState=CANCELLED");
    // One whole frame, and nothing half-written beside it.
    EXPECT_EQ(ReadFile(dir / "out" / FrameName(11)), ReadFile(dir / "ref" / FrameName(11)));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / "out"), fs::directory_iterator()), 20);
    struct stat before {};
    ASSERT_EQ(stat((dir / "out" / FrameName(11)).c_str(), &before), 0);

    // The re-run finishes the chunk and leaves the finished frame as it was.
    job = submit("--tasks 2", "--skip-existing");
    EXPECT_EQ(States(job), done);
    struct stat after {};
    ASSERT_EQ(stat((dir / "out" / FrameName(11)).c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    const std::string log = ReadFile(dir / "logs" / (job + "_2.log"));
    EXPECT_NE(log.find("frame 11 exists, skipped (1 of 5)\nframe 12 done (2 of 5)"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("frame 15 done (5 of 5)"), std::string::npos) << log;
    expectFramesAsOneRun();
}
