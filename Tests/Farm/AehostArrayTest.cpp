// aehost on a render farm: tools/farm/submit splits an image sequence into the tasks of a Slurm
// array job on a private one-machine cluster (munged, slurmctld and slurmd of the test's own,
// configured in its folder), and every frame must be that of one aehost run, byte for byte,
// also after a task is cancelled half-way and submitted again.
#include <gtest/gtest.h>

#include <OpenImageIO/imagebuf.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "RandomFrame.h"
#include "ScratchFolder.h"

namespace fs = std::filesystem;
using Brindel::Testing::ChildProcess;
using Brindel::Testing::ScratchFolder;

namespace {

bool WaitUntil(const std::function<bool()>& done, int seconds) {
    for (int tenths = 0; !done(); ++tenths) {
        if (tenths > seconds * 10) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return true;
}

std::string FrameName(int frame) {
    char name[32];
    std::snprintf(name, sizeof(name), "f.%04d.png", frame);
    return name;
}

// Two ports that nothing listens on now, for the cluster's daemons.
std::vector<int> FreePorts() {
    std::vector<int> sockets, ports;
    for (int i = 0; i < 2; ++i) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        socklen_t size = sizeof(address);
        sockets.push_back(socket(AF_INET, SOCK_STREAM, 0));
        bind(sockets.back(), reinterpret_cast<sockaddr*>(&address), size);
        getsockname(sockets.back(), reinterpret_cast<sockaddr*>(&address), &size);
        ports.push_back(ntohs(address.sin_port));
    }
    for (int fd : sockets) {
        close(fd);
    }
    return ports;
}

class Farm : public ::testing::Test {
protected:
    // Short: slurmd's sockets in it are named after jobs, within 108 characters.
    Farm() : dir(fs::temp_directory_path() / ("farm-" + std::to_string(getpid()))) {
        fs::remove_all(dir);
        fs::create_directories(dir / "out");
    }
    void TearDown() override {
        if (!daemons.empty()) {
            shell("scancel --partition=main");
            WaitUntil([&] { return shell("squeue -h -o %i").empty(); }, 15);
            daemons.clear();
        }
        // What the tasks and the daemons said, for a failure on a machine no one can log in to.
        if (HasFailure()) {
            std::cout << shell("tail -n +1 logs/*.log slurm/*.log 2>&1");
        }
        fs::remove_all(dir);
    }

    static std::string read(const fs::path& path) { return ScratchFolder::Read(path); }

    // A shell command's standard output, without its last newline.
    std::string shell(const std::string& command) const {
        std::string out = ChildProcess::Run({"bash", "-c", command}, dir).out;
        while (!out.empty() && out.back() == '\n') {
            out.pop_back();
        }
        return out;
    }

    // Frames 1 to `count` of noise, each different.
    void writeFrames(int count, int width, int height) const {
        fs::create_directories(dir / "in");
        for (int frame = 1; frame <= count; ++frame) {
            OIIO::ImageBuf image(OIIO::ImageSpec(width, height, 4, OIIO::TypeDesc::UINT8));
            image.set_pixels(OIIO::ROI::All(), OIIO::TypeDesc::UINT8,
                             Brindel::Testing::RandomFrame(width, height, frame, 3).data());
            ASSERT_TRUE(image.write((dir / "in" / FrameName(frame)).string())) << image.geterror();
        }
    }

    // aehost on the sequence in/ into `out`/, in the test's folder.
    ChildProcess::Result aehost(const std::string& options, const std::string& out = "out") {
        std::vector<std::string> words = ChildProcess::Words(options);
        words.insert(words.begin(), AEHOST_PATH);
        words.insert(words.end(), {"in/f.%04d.png", out + "/f.%04d.png"});
        fs::create_directories(dir / out);
        return ChildProcess::Run(words, dir);
    }

    // A single-node Slurm cluster, its files all in slurm/. Its daemons run in the foreground as
    // children of the test, so that they are stopped by their ids, and die with it.
    void startCluster() {
        const fs::path slurm = dir / "slurm";
        fs::create_directories(slurm / "state");
        fs::create_directories(slurm / "spool");
        ScratchFolder::Write(slurm / "munge.key",
                             Brindel::Testing::RandomFrame(16, 16, std::random_device()()));
        fs::permissions(slurm / "munge.key", fs::perms::owner_read);
        const std::string d = slurm.string();
        daemon("munged -F --force --socket=" + d + "/munge.sock --key-file=" + d +
               "/munge.key --pid-file=" + d + "/munged.pid --log-file=" + d +
               "/munged.log --seed-file=" + d + "/munged.seed");
        ASSERT_TRUE(WaitUntil([&] { return fs::exists(slurm / "munge.sock"); }, 20));

        const std::vector<int> ports = FreePorts();
        ScratchFolder::Write(
            slurm / "slurm.conf",
            "ClusterName=farmtest\nSlurmctldHost=localhost\nSlurmUser=root\nSlurmctldPort=" +
                std::to_string(ports[0]) + "\nSlurmdPort=" + std::to_string(ports[1]) +
                "\nAuthType=auth/munge\nAuthInfo=socket=" + d + "/munge.sock\n" +
                "MpiDefault=none\nProctrackType=proctrack/linuxproc\nTaskPlugin=task/none\n" +
                "ReturnToService=2\nSchedulerType=sched/backfill\nSelectType=select/cons_tres\n" +
                "SelectTypeParameters=CR_Core\nStateSaveLocation=" + d + "/state\n" +
                "SlurmdSpoolDir=" + d + "/spool\nSlurmctldPidFile=" + d + "/slurmctld.pid\n" +
                "SlurmdPidFile=" + d + "/slurmd.pid\nSlurmctldLogFile=" + d + "/slurmctld.log\n" +
                "SlurmdLogFile=" + d + "/slurmd.log\nNodeName=localhost CPUs=2 State=UNKNOWN\n" +
                "PartitionName=main Nodes=localhost Default=YES MaxTime=INFINITE State=UP\n");
        // For sbatch, squeue and scancel, run from here.
        setenv("SLURM_CONF", (d + "/slurm.conf").c_str(), 1);
        daemon("slurmctld -D -f " + d + "/slurm.conf");
        daemon("slurmd -D -N localhost -f " + d + "/slurm.conf");
        ASSERT_TRUE(WaitUntil([&] { return shell("sinfo -h -o %t") == "idle"; }, 30))
            << shell("sinfo 2>&1");
    }

    void daemon(const std::string& line) {
        const std::string name = line.substr(0, line.find(' '));
        daemons.push_back(std::make_unique<ChildProcess>(
            std::vector<std::string>{"bash", "-c",
                                     "exec setpriv --pdeathsig TERM " + line + " > " + name +
                                         ".out.log 2>&1"},
            dir / "slurm"));
    }

    // Submits frames 1 to 24 to Slurm in chunks of 5; the job's id.
    std::string submit(const std::string& options, const std::string& aehostOptions = "",
                       const std::string& environment = "") const {
        return shell(environment + " '" SUBMIT_PATH "' --chunk 5 --sbatch=--chdir=" + dir.string() +
                     " --sbatch=--output=" + dir.string() + "/logs/%A_%a.log " + options +
                     " 1-24 in/f.%04d.png out/f.%04d.png --blur 3 " + aehostOptions);
    }

    // Waits for the job's tasks to end; their states, a line each.
    std::string states(const std::string& job) const {
        EXPECT_TRUE(WaitUntil([&] { return shell("squeue -h -j " + job).empty(); }, 60));
        return shell("scontrol -o show job " + job + " | grep -o 'JobState=[A-Z]*'");
    }

    // Each output frame is the reference's, byte for byte.
    void expectFramesAsOneRun() const {
        for (int frame = 1; frame <= 24; ++frame) {
            const std::string bytes = read(dir / "out" / FrameName(frame));
            EXPECT_TRUE(!bytes.empty() && bytes == read(dir / "ref" / FrameName(frame)))
                << FrameName(frame);
        }
    }

    fs::path dir;
    std::vector<std::unique_ptr<ChildProcess>> daemons;
};

} // namespace

TEST_F(Farm, SkipExistingLeavesFinishedFramesAloneAndLogsALinePerFrame) {
    writeFrames(3, 8, 6);
    ScratchFolder::Write(dir / "out" / FrameName(2), "finished");
    ChildProcess::Result r = aehost("--skip-existing --frames 1-3");
    ASSERT_EQ(r.status, 0) << r.err;
    // Standard error is no terminal here, as in a farm's log: a line per frame, no bar.
    EXPECT_EQ(r.err, "frame 1 done (1 of 3)\nframe 2 exists, skipped (2 of 3)\n"
                     "frame 3 done (3 of 3)\n");
    EXPECT_EQ(read(dir / "out" / FrameName(2)), "finished");
    EXPECT_EQ(read(dir / "out" / FrameName(3)).substr(1, 3), "PNG");
    // Asked to, a run renders the frame again.
    r = aehost("--frames 2-2");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(read(dir / "out" / FrameName(2)).substr(1, 3), "PNG");
}

TEST_F(Farm, SlurmArrayGivesOneRunsFramesAndACancelledTaskFinishesOnReRun) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "starting Slurm's daemons needs root";
    }
    const std::string tools =
        "munged slurmctld slurmd sbatch squeue scancel sinfo scontrol setpriv";
    if (shell("for t in " + tools + "; do command -v $t; done | wc -l") != "9") {
        GTEST_SKIP() << "needs " << tools << " (Debian: slurmctld slurmd slurm-client munge)";
    }
    ASSERT_NO_FATAL_FAILURE(startCluster());
    writeFrames(24, 64, 48);
    fs::create_directories(dir / "logs");
    ChildProcess::Result r = aehost("--blur 3", "ref");
    ASSERT_EQ(r.status, 0) << r.err;
    // The tasks' aehost, handed on by sbatch with the rest of the environment.
    setenv("AEHOST", AEHOST_PATH, 1);
    const std::string done = "JobState=COMPLETED";
    EXPECT_EQ(states(submit("")), done + "\n" + done + "\n" + done + "\n" + done + "\n" + done);
    expectFramesAsOneRun();

    // Task 2 (frames 11 to 15) from nothing, held after its first frame and cancelled there.
    for (int frame = 11; frame <= 15; ++frame) {
        fs::remove(dir / "out" / FrameName(frame));
    }
    ScratchFolder::Write(dir / "paused-aehost",
                         "#!/bin/sh\nexport FARM_PAUSE_MARKER='" + (dir / "paused").string() +
                             "' LD_PRELOAD='" PAUSE_PATH "'\nexec '" AEHOST_PATH "' \"$@\"\n");
    fs::permissions(dir / "paused-aehost", fs::perms::owner_all);
    std::string job = submit("--tasks 2", "", "AEHOST='" + (dir / "paused-aehost").string() + "'");
    ASSERT_TRUE(WaitUntil([&] { return fs::exists(dir / "paused"); }, 60));
    shell("scancel " + job + "_2");
    EXPECT_EQ(states(job), "JobState=CANCELLED");
    // One whole frame, and nothing half-written beside it.
    EXPECT_EQ(read(dir / "out" / FrameName(11)), read(dir / "ref" / FrameName(11)));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / "out"), fs::directory_iterator()), 20);
    struct stat before {};
    ASSERT_EQ(stat((dir / "out" / FrameName(11)).c_str(), &before), 0);

    // The re-run finishes the chunk and leaves the finished frame as it was.
    job = submit("--tasks 2", "--skip-existing");
    EXPECT_EQ(states(job), done);
    struct stat after {};
    ASSERT_EQ(stat((dir / "out" / FrameName(11)).c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    const std::string log = read(dir / "logs" / (job + "_2.log"));
    EXPECT_NE(log.find("frame 11 exists, skipped (1 of 5)\nframe 12 done (2 of 5)"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("frame 15 done (5 of 5)"), std::string::npos) << log;
    expectFramesAsOneRun();
}
