#include "tests/sim/TestMachine.h"

#include "sim/firmware/PhaseWatch.h"

namespace {

using namespace simtest;

constexpr UINT64 kMillisecond = 10000; // in 100 ns

class AnEventService : public TestMachine {
protected:
    EFI_EVENT Make(UINT32 type, EFI_TPL level, Logged& context, const EFI_GUID* group = nullptr) {
        EFI_EVENT event = nullptr;
        EXPECT_EQ(bs->CreateEventEx(type, level, Logged::Notify, &context, group, &event),
                  EFI_SUCCESS);
        return event;
    }

    std::string log;
    Logged a{&log, "a"}, b{&log, "b"}, c{&log, "c"}, d{&log, "d"};
};

TEST_F(AnEventService, RunsNotificationsByLevelThenInOrderWhenTheLevelDrops) {
    Boot([&] {
        const EFI_EVENT slow = Make(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, a);
        const EFI_EVENT slow2 = Make(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, b);
        const EFI_EVENT fast = Make(EVT_NOTIFY_SIGNAL, TPL_NOTIFY, c);
        const EFI_EVENT closed = Make(EVT_NOTIFY_SIGNAL, TPL_NOTIFY, d);
        bs->SignalEvent(slow);
        EXPECT_EQ(log, "a ") << "nothing holds it back at application level";
        log.clear();

        const EFI_TPL before = bs->RaiseTPL(TPL_HIGH_LEVEL);
        EXPECT_EQ(before, EFI_TPL(TPL_APPLICATION));
        for (EFI_EVENT event : {slow2, slow, closed, fast, slow2}) {
            bs->SignalEvent(event);
        }
        // CloseEvent() is not allowed at this level; what it does is the same.
        Machine().events->CloseEvent(closed);
        EXPECT_EQ(log, "");
        bs->RestoreTPL(TPL_NOTIFY);
        EXPECT_EQ(log, "");
        bs->RestoreTPL(TPL_CALLBACK);
        EXPECT_EQ(log, "c ");
        bs->RestoreTPL(before);
        EXPECT_EQ(log, "c b a ") << "first signalled first, twice signalled once";
        EXPECT_EQ(bs->RaiseTPL(TPL_APPLICATION), EFI_TPL(TPL_APPLICATION));
    });
    EXPECT_TRUE(violations.empty()) << violations[0];
}

TEST_F(AnEventService, LetsANotificationSignalHigherAndLowerOnes) {
    struct Context {
        std::string* log;
        EFI_EVENT higher;
        EFI_EVENT lower;
    } context{&log, nullptr, nullptr};
    Boot([&] {
        context.higher = Make(EVT_NOTIFY_SIGNAL, TPL_NOTIFY, a);
        context.lower = Make(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, b);
        EFI_EVENT first = nullptr;
        bs->CreateEvent(
            EVT_NOTIFY_SIGNAL, TPL_CALLBACK,
            [](EFI_EVENT event, void* raw) EFIAPI {
                auto& self = *static_cast<Context*>(raw);
                *self.log += "begin ";
                bs->SignalEvent(self.lower);
                bs->SignalEvent(self.higher);
                *self.log += "end ";
                bs->CloseEvent(event);
            },
            &context, &first);
        bs->SignalEvent(first);
    });
    EXPECT_EQ(log, "begin a end b ");
    EXPECT_TRUE(violations.empty());
}

TEST_F(AnEventService, FiresTimersInVirtualTime) {
    Boot([&] {
        Clock& clock = *Machine().clock;
        const EFI_EVENT once = Make(EVT_TIMER | EVT_NOTIFY_SIGNAL, TPL_CALLBACK, a);
        const EFI_EVENT often = Make(EVT_TIMER | EVT_NOTIFY_SIGNAL, TPL_NOTIFY, b);
        const EFI_EVENT never = Make(EVT_TIMER | EVT_NOTIFY_SIGNAL, TPL_NOTIFY, c);
        EXPECT_EQ(bs->SetTimer(once, TimerRelative, 5 * kMillisecond), EFI_SUCCESS);
        EXPECT_EQ(bs->SetTimer(often, TimerPeriodic, 2 * kMillisecond), EFI_SUCCESS);
        EXPECT_EQ(bs->SetTimer(never, TimerRelative, 3 * kMillisecond), EFI_SUCCESS);
        EXPECT_EQ(bs->SetTimer(never, TimerCancel, 0), EFI_SUCCESS);
        const auto start = clock.Now();
        bs->Stall(7000);
        EXPECT_EQ(clock.Now(), start + 7000);
        EXPECT_EQ(log, "b b a b ");
        log.clear();
        const EFI_TPL level = bs->RaiseTPL(TPL_HIGH_LEVEL);
        bs->Stall(7000);
        EXPECT_EQ(log, "") << "interrupts are off";
        bs->RestoreTPL(level);
        EXPECT_EQ(log, "b ") << "a pending timer is one notification";
        bs->CloseEvent(often);
        bs->Stall(7000);
        EXPECT_EQ(log, "b ");
    });
    EXPECT_TRUE(violations.empty()) << violations[0];
}

TEST_F(AnEventService, SignalsAllMembersOfAGroup) {
    constexpr EFI_GUID kGroup = {1, 2, 3, {4}};
    Boot([&] {
        Make(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, a, &kGroup);
        Make(EVT_NOTIFY_SIGNAL, TPL_NOTIFY, b, &kGroup);
        Make(EVT_NOTIFY_SIGNAL, TPL_NOTIFY, c);
        EFI_EVENT signaller = nullptr;
        bs->CreateEventEx(
            EVT_NOTIFY_SIGNAL, TPL_CALLBACK, [](EFI_EVENT, void*) EFIAPI {}, nullptr, &kGroup,
            &signaller);
        bs->SignalEvent(signaller);
        bs->CloseEvent(signaller);
        EXPECT_EQ(log, "b a ");
        EFI_EVENT exit = nullptr;
        EXPECT_EQ(bs->CreateEventEx(EVT_SIGNAL_EXIT_BOOT_SERVICES, TPL_NOTIFY, Logged::Notify, &d,
                                    &kGroup, &exit),
                  EFI_INVALID_PARAMETER);
        log.clear();
        Make(EVT_SIGNAL_EXIT_BOOT_SERVICES, TPL_NOTIFY, d);
        UINTN size = 0, key = 0, descriptor = 0;
        UINT32 version = 0;
        bs->GetMemoryMap(&size, nullptr, &key, &descriptor, &version);
        EXPECT_EQ(bs->ExitBootServices(image, 0xBAD), EFI_INVALID_PARAMETER);
        EXPECT_EQ(log, "");
        bs->ExitBootServices(image, Machine().arena->MapKey());
    });
    EXPECT_EQ(log, "d ");
    EXPECT_EQ(Traced("signal"),
              (std::vector<std::string>{R"({"guid":"00000001-0002-0003-0400-000000000000"})",
                                        R"({"guid":"8BE0E274-3970-4B44-80C5-1AB9502F3BFC"})",
                                        R"({"guid":"27ABF055-B1B8-4C26-8048-748F37BAA2DF"})"}));
    EXPECT_EQ(Traced("end"), std::vector<std::string>{R"({"reason":"os-started","boot":1})"});
}

TEST_F(AnEventService, WaitsForTheFirstEventThatIsReady) {
    Boot([&] {
        EFI_EVENT events[2] = {};
        bs->CreateEvent(EVT_TIMER, 0, nullptr, nullptr, &events[0]);
        bs->CreateEvent(0, 0, nullptr, nullptr, &events[1]);
        bs->SetTimer(events[0], TimerRelative, 30 * kMillisecond);
        UINTN index = 9;
        EXPECT_EQ(bs->WaitForEvent(2, events, &index), EFI_SUCCESS);
        EXPECT_EQ(index, 0u);
        EXPECT_EQ(Machine().clock->Now(), 30000u);
        bs->SignalEvent(events[1]);
        EXPECT_EQ(bs->WaitForEvent(2, events, &index), EFI_SUCCESS);
        EXPECT_EQ(index, 1u);
        EXPECT_EQ(bs->CheckEvent(events[1]), EFI_NOT_READY) << "the wait took the signal";
        EXPECT_EQ(Machine().clock->Now(), 31000u) << "a poll takes time";
        EFI_EVENT notified = Make(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, a);
        EXPECT_EQ(bs->WaitForEvent(1, &notified, &index), EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->CheckEvent(notified), EFI_INVALID_PARAMETER);
        EXPECT_TRUE(Machine().violations->All().empty());
        bs->RaiseTPL(TPL_CALLBACK);
        EXPECT_EQ(bs->WaitForEvent(2, events, &index), EFI_UNSUPPORTED);
        bs->RestoreTPL(TPL_APPLICATION);
    });
    EXPECT_EQ(violations,
              std::vector<std::string>{"WaitForEvent called at level 8, allowed up to 4"});
}

// Every way to wait for ever, and how the boot ends.
TEST_F(AnEventService, EndsABootThatCanOnlyWaitForAKey) {
    struct Row {
        const char* name;
        void (*wait)();
        EndReason reason;
        std::uint64_t time; // microseconds at least
    };
    const Row rows[] = {
        {"waiting with nothing scheduled",
         [] {
             UINTN index;
             bs->WaitForEvent(1, &st->ConIn->WaitForKey, &index);
         },
         EndReason::WaitingForKey, 0},
        {"waiting beside a periodic timer",
         [] {
             EFI_EVENT timer;
             bs->CreateEvent(
                 EVT_TIMER | EVT_NOTIFY_SIGNAL, TPL_CALLBACK, [](EFI_EVENT, void*) EFIAPI {},
                 nullptr, &timer);
             bs->SetTimer(timer, TimerPeriodic, 1000 * kMillisecond);
             UINTN index;
             bs->WaitForEvent(1, &st->ConIn->WaitForKey, &index);
         },
         EndReason::WaitingForKey, 20000000},
        {"polling the keyboard",
         [] {
             EFI_INPUT_KEY key;
             while (st->ConIn->ReadKeyStroke(st->ConIn, &key) == EFI_NOT_READY) {
                 bs->Stall(50000);
             }
         },
         EndReason::WaitingForKey, 20000000},
        {"stalling",
         [] {
             for (;;)
                 bs->Stall(UINTN(-1));
         },
         EndReason::TimeLimit, 60000000},
        {"doing nothing at all",
         [] {
             for (;;)
                 bs->RestoreTPL(bs->RaiseTPL(TPL_CALLBACK));
         },
         EndReason::TimeLimit, 0},
    };
    Describe(R"("limits": {"keyWaitSeconds": 20, "timeSeconds": 60})");
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const BootResult result = Boot(row.wait);
        EXPECT_EQ(EndReasonText(result.reason), EndReasonText(row.reason));
        EXPECT_GE(result.time, row.time);
        EXPECT_LE(result.time, row.time + 2000000);
    }
    // A key that is still to come keeps the wait alive.
    Describe(R"("limits": {"keyWaitSeconds": 20}, "keys": [{"at": 100000, "key": "F2"}])");
    EFI_STATUS status = EFI_NOT_READY;
    Boot([&] {
        EFI_INPUT_KEY key{};
        while ((status = st->ConIn->ReadKeyStroke(st->ConIn, &key)) == EFI_NOT_READY) {
        }
        EXPECT_EQ(key.ScanCode, 0x0C);
    });
    EXPECT_EQ(status, EFI_SUCCESS);
}

TEST_F(AnEventService, RecordsMisuse) {
    Boot([&] {
        bs->RaiseTPL(TPL_NOTIFY);
        bs->RaiseTPL(TPL_CALLBACK);
        bs->RestoreTPL(TPL_HIGH_LEVEL);
        UINTN size = 0;
        rs->GetVariable(u"X", &gEfiEventReadyToBootGuid, nullptr, &size, nullptr);
        bs->RestoreTPL(TPL_APPLICATION);
        EFI_EVENT event = nullptr;
        bs->CreateEvent(
            EVT_NOTIFY_SIGNAL, TPL_CALLBACK,
            [](EFI_EVENT, void*) EFIAPI { bs->RaiseTPL(TPL_NOTIFY); }, nullptr, &event);
        bs->SignalEvent(event);
        bs->CloseEvent(event);
        EXPECT_EQ(bs->CloseEvent(event), EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->SignalEvent(&event), EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->SetTimer(nullptr, TimerCancel, 0), EFI_INVALID_PARAMETER);
        bs->RaiseTPL(TPL_NOTIFY);
    });
    EXPECT_EQ(violations, (std::vector<std::string>{
                              "RaiseTPL from 16 to 8",
                              "RestoreTPL from 16 to the higher level 31",
                              "GetVariable called at level 16, allowed up to 8",
                              "a notification function of level 8 returned at level 16",
                              "CloseEvent of a closed event",
                              "SignalEvent of something else than an event",
                              "KelmBdsDxe returned with the task priority at 16, started at 4",
                          }));
    EXPECT_EQ(Traced("violation").size(), violations.size());
}

TEST_F(AnEventService, SeesWhatAPhaseLeavesBehind) {
    constexpr EFI_GUID kGroup = {1, 2, 3, {4}};
    Boot([&] {
        PhaseWatch& phases = *Machine().phases;
        phases.Started("BDS");
        phases.Started("outer");
        phases.Started("clean");
        bs->CloseEvent(Make(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, a));
        Make(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, a, &kGroup);
        const EFI_EVENT registered = Make(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, b);
        void* registration = nullptr;
        bs->RegisterProtocolNotify(&kGroup, registered, &registration);
        const EFI_EVENT timer = Make(EVT_TIMER | EVT_NOTIFY_SIGNAL, TPL_CALLBACK, c);
        bs->SetTimer(timer, TimerPeriodic, kMillisecond);
        bs->RestoreTPL(bs->RaiseTPL(TPL_NOTIFY));
        phases.Ended("clean");
        EXPECT_TRUE(Machine().violations->All().empty());

        phases.Started("leaky");
        Make(EVT_NOTIFY_SIGNAL, TPL_CALLBACK, d);
        bs->RaiseTPL(TPL_CALLBACK);
        phases.Ended("leaky");
        bs->RestoreTPL(TPL_APPLICATION);
        bs->SetTimer(timer, TimerCancel, 0);
        phases.Ended("outer");
        phases.Ended("BDS");
    });
    EXPECT_EQ(violations, (std::vector<std::string>{"event left open in leaky",
                                                    "task priority left at 8 in leaky",
                                                    "event left open in outer"}));

    // A boot that waits for good does so at application level, but for a notification.
    Describe(R"("limits": {"timeSeconds": 5})");
    Boot([] {
        bs->RaiseTPL(TPL_CALLBACK);
        bs->Stall(10000000);
    });
    EXPECT_EQ(violations,
              std::vector<std::string>{"the boot ended as time-limit with the task priority at 8"});
    Boot([] {
        EFI_EVENT event = nullptr;
        bs->CreateEvent(
            EVT_NOTIFY_SIGNAL, TPL_CALLBACK, [](EFI_EVENT, void*) EFIAPI { bs->Stall(10000000); },
            nullptr, &event);
        bs->SignalEvent(event);
    });
    EXPECT_TRUE(violations.empty());
}

TEST_F(AnEventService, RefusesEventsThatCannotBe) {
    const auto nothing = [](EFI_EVENT, void*) EFIAPI {};
    Boot([&] {
        EFI_EVENT event = nullptr;
        const auto made = [&](UINT32 type, EFI_TPL level, EFI_EVENT_NOTIFY function) {
            return bs->CreateEvent(type, level, function, nullptr, &event);
        };
        EXPECT_EQ(made(EVT_NOTIFY_SIGNAL | EVT_NOTIFY_WAIT, TPL_CALLBACK, nothing),
                  EFI_INVALID_PARAMETER);
        EXPECT_EQ(made(EVT_NOTIFY_SIGNAL, TPL_APPLICATION, nothing), EFI_INVALID_PARAMETER);
        EXPECT_EQ(made(EVT_NOTIFY_SIGNAL, TPL_HIGH_LEVEL + 1, nothing), EFI_INVALID_PARAMETER);
        EXPECT_EQ(made(EVT_NOTIFY_WAIT, TPL_CALLBACK, nullptr), EFI_INVALID_PARAMETER);
        EXPECT_EQ(made(0x1000, TPL_CALLBACK, nothing), EFI_INVALID_PARAMETER);
        EXPECT_EQ(bs->CreateEvent(0, 0, nullptr, nullptr, nullptr), EFI_INVALID_PARAMETER);
        const std::uint64_t before = Machine().events->NextSequence();
        EXPECT_EQ(made(0, 0, nullptr), EFI_SUCCESS);
        EXPECT_EQ(bs->SetTimer(event, TimerRelative, 1), EFI_INVALID_PARAMETER) << "no timer";
        EXPECT_EQ(Machine().events->LiveEvents(before).size(), 1u);
        bs->CloseEvent(event);
        EXPECT_EQ(Machine().events->LiveEvents(before).size(), 0u);
    });
}

} // namespace
