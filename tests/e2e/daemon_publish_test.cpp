// The built daemon on a host with a stand-in publisher: the first routine report goes
// out in the first pass, and while the publisher logs "ERROR" the same file is sent
// again after "retry sleep 20 seconds"; once the publisher works the report is
// recorded as published.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "sandbox.h"

using namespace e2e;

namespace {

// The router's files and tools in the sandbox: /etc is a private copy with the model
// code, nvram and the policy live in the private /tmp, and the publisher directory
// given with -c holds a stand-in awsiotpub that logs as the real one does.
const char* kRouter = R"SH(
cp -a /etc /tmp/etc && mount --bind /tmp/etc /etc
echo VRA420 > /etc/hw_version
cat > /tmp/nvram.txt <<'NV'
hwver=VRA420
RA_enable=1
wan_status=up
lan_macaddr=AA:BB:CC:00:11:22
sku_name=US
time_zone=0
NV
mkdir -p /tmp/media/persistent/router-analytics /tmp/pub
# The reboot of this boot is already accounted for: no kernel reboot report.
touch /tmp/first_kernel_ra
echo '{"reportMethod":"IoT","routerInfo":"1440"}' > /tmp/media/persistent/router-analytics/RAE_Policy.json
printf '#!/bin/sh\necho Firmware\necho V1/1.2.3.4/build\n' > /tmp/stub/version
printf '#!/bin/sh\necho "serial number is SN0042" >&2\n' > /tmp/stub/burnsn
printf '#!/bin/sh\nexit 0\n' > /tmp/stub/ping
printf '#!/bin/sh\nexit 6\n' > /tmp/stub/curl
printf '#!/bin/sh\nexit 0\n' > /tmp/stub/mpstat
echo ERROR > /tmp/pub/mode
cat > /tmp/pub/awsiotpub <<'PUB'
#!/bin/sh
file=""
while [ $# -gt 0 ]; do [ "$1" = -f ] && file=$2; shift; done
echo "$file $(md5sum < "$file" | cut -c1-32)" >> /tmp/pub/calls
if [ "$(cat /tmp/pub/mode)" = ERROR ]; then echo "ERROR: broker unreachable"; else echo "Publish done"; fi
PUB
chmod +x /tmp/stub/* /tmp/pub/awsiotpub
)SH";

}  // namespace

TEST(DaemonPublish, FirstReportThenRetryOfTheSameFileUntilPublished) {
    auto prefix = sandbox_prefix();
    if (prefix.empty()) GTEST_SKIP() << "no private mount and PID namespaces here";
    Outcome o = run_in_sandbox(prefix, std::string(kRouter) + R"SH(
"$1" -c /tmp/pub > /tmp/daemon.out 2>&1
wait_calls() {
    i=0
    while [ "$(cat /tmp/pub/calls 2>/dev/null | wc -l)" -lt "$1" ] && [ $i -lt 600 ]; do sleep 0.1; i=$((i+1)); done
}
wait_calls 2
echo ok > /tmp/pub/mode
wait_calls 3
sleep 1
cut -d' ' -f1 /tmp/pub/calls | head -3
first=$(sed -n 1p /tmp/pub/calls | cut -d' ' -f2)
same=yes
for n in 2 3; do [ "$(sed -n ${n}p /tmp/pub/calls | cut -d' ' -f2)" = "$first" ] || same=no; done
echo "same file: $same"
grep -c 'retry sleep 20 seconds' /tmp/daemon.out
grep -c 'awsiot Publish failed !!' /tmp/daemon.out
grep -c 'awsiot Publish success !!' /tmp/daemon.out
grep -o '"modelName":[^,]*' /tmp/telem_json_dir/telem_VRA420_1.json | head -1
grep -q 'LD_LIBRARY_PATH=/usr/share /tmp/pub/awsiotpub -i AABBCC001122 -f /tmp/telem_json_dir/telem_VRA420_1.json -t "analytics/" -o 1 >/tmp/ra_pub_log.txt' /tmp/daemon.out && echo "command line ok"
exit 0
)SH");
    std::istringstream lines(o.out);
    std::string f1, f2, f3, same, retries, failed, succeeded, model, cmdline;
    std::getline(lines, f1);
    std::getline(lines, f2);
    std::getline(lines, f3);
    std::getline(lines, same);
    std::getline(lines, retries);
    std::getline(lines, failed);
    std::getline(lines, succeeded);
    std::getline(lines, model);
    std::getline(lines, cmdline);
    const std::string routine = "/tmp/telem_json_dir/telem_VRA420_1.json";
    EXPECT_EQ(f1, routine) << o.out;
    EXPECT_EQ(f2, routine);
    EXPECT_EQ(f3, routine);
    EXPECT_EQ(same, "same file: yes");
    EXPECT_EQ(retries, "2");
    EXPECT_EQ(failed, "2");
    EXPECT_EQ(succeeded, "1");
    EXPECT_EQ(model, "\"modelName\":\t\"VRA420\"");
    EXPECT_EQ(cmdline, "command line ok");
    EXPECT_EQ(running_copies(), 0);
}
