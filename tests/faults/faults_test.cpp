// Every call with each of its system calls failing in turn: a result that its header names, nothing left behind, and
// the next call works.
#include <cerrno>
#include <cstring>

#include "faults/calls.h"
#include "support/failing.h"

namespace {

const struct {
  Fails kind;
  int error;
} kFaults[] = {{Fails::kMemory, ENOMEM},   {Fails::kOpen, EMFILE},    {Fails::kOpen, EINTR},
               {Fails::kRead, EIO},        {Fails::kRead, EINTR},     {Fails::kWrite, ENOSPC},
               {Fails::kWrite, EINTR},     {Fails::kClose, EIO},      {Fails::kFlush, EIO},
               {Fails::kRename, EROFS},    {Fails::kStat, EIO},       {Fails::kProgram, EAGAIN},
               {Fails::kSocket, ENETDOWN}, {Fails::kSocket, EINTR},   {Fails::kThread, EAGAIN},
               {Fails::kSegment, ENOMEM},  {Fails::kSegment, EINVAL}, {Fails::kSemaphore, EIDRM},
               {Fails::kSemaphore, EINTR}};

}  // namespace

using Faults = EveryCall;
INSTANTIATE_TEST_SUITE_P(In, Faults, testing::ValuesIn(kCalls),
                         [](const auto& calls) { return calls.param.of; });

TEST_P(Faults, GiveANamedResultAndLeaveNothingBehind) {
  int faults = 0;
  for (const Call& row : GetParam().rows) {
    for (const auto& fault : kFaults) {
      row.prepare();
      const LeftBehind before = left_behind();
      int result = 0;
      faults += fail_each(
          fault.kind, fault.error, [&](int) { result = row.call(); },
          [&](int nth) {
            row.prepare();
            const LeftBehind after = left_behind();
            const std::string which = std::string(row.name) + ", kind " +
                                      std::to_string(static_cast<int>(fault.kind)) + ", call " +
                                      std::to_string(nth) + ": " + strerror(fault.error);
            EXPECT_TRUE(row.may_give(result)) << result << " from " << which;
            EXPECT_EQ(after, before) << which;
            EXPECT_EQ(row.call(), row.good) << "after " << which;
            row.prepare();
          });
    }
  }
  printf("%d faults\n", faults);
}
