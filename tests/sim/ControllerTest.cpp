// The management controller's transports: scripted answers with their sizes, delays and faults.

#include "kelm/NimborInitializeProtocol.h"
#include "kelm/NimborInstallIpmiProtocol.h"
#include "kelm/SecureBootMgmtProtocol.h"
#include "sim/firmware/Arena.h"
#include "sim/firmware/Clock.h"
#include "sim/siblings/IpmiTransport.h"
#include "sim/siblings/SmaTransport.h"
#include "tests/sim/TestMachine.h"

namespace sim {
namespace {

using Bytes = std::vector<UINT8>;

class Controllers : public simtest::TestMachine {};

struct Answer {
    EFI_STATUS status;
    Bytes bytes;
    UINT8 size;
};

Answer Ask(KelmIpmiTransportProtocol* ipmi, UINT8 netFunction, UINT8 command, Bytes request,
           UINT8 room) {
    Bytes response(256, 0xEE);
    Answer answer{};
    answer.size = room;
    answer.status =
        ipmi->SendCommand(ipmi, netFunction, 0, command, request.data(), UINT8(request.size()),
                          room != 0 ? response.data() : nullptr, &answer.size);
    if (answer.status != EFI_BUFFER_TOO_SMALL) {
        answer.bytes.assign(response.begin(), response.begin() + answer.size);
    }
    EXPECT_EQ(response[room], 0xEE);
    return answer;
}

TEST_F(Controllers, IpmiAnswersByTheScript) {
    PowerOn(R"("controller": {"latencyMicroseconds": 10, "ipmi": [
        {"netfn": 6, "command": 89, "request": "00 D9", "response": "00 01 02 03", "times": 2},
        {"netfn": 6, "command": 89, "request": "00 D9", "response": "00 AA", "delayMicroseconds": 5000},
        {"netfn": 6, "command": 89, "response": "00 BB"},
        {"netfn": "0x30", "command": "0xAA", "response": "02", "status": "EFI_DEVICE_ERROR"},
        {"netfn": 0, "command": 8, "status": "EFI_TIMEOUT"},
        {"netfn": 0, "command": 9, "response": "00"}]})",
            [&](Platform& p) {
                EXPECT_EQ(Find<KelmIpmiTransportProtocol>(p), nullptr)
                    << "not before it is asked for";
                auto* installer = Find<KelmNimborInstallIpmiProtocol>(p);
                EXPECT_EQ(installer->InstallIpmi(installer), EFI_SUCCESS);
                auto* ipmi = Find<KelmIpmiTransportProtocol>(p);
                ASSERT_NE(ipmi, nullptr);

                // Refused for want of room: not used up.
                Answer answer = Ask(ipmi, 6, 0x59, {0x00, 0xD9, 0x00, 0x00}, 3);
                EXPECT_EQ(answer.status, EFI_BUFFER_TOO_SMALL);
                EXPECT_EQ(answer.size, 4);
                for (int i = 0; i < 2; i++) {
                    answer = Ask(ipmi, 6, 0x59, {0x00, 0xD9, 0x00, 0x00}, 4);
                    EXPECT_EQ(answer.bytes, (Bytes{0, 1, 2, 3}));
                }
                const auto before = p.clock->Now();
                EXPECT_EQ(Ask(ipmi, 6, 0x59, {0x00, 0xD9}, 4).bytes, (Bytes{0, 0xAA}));
                EXPECT_EQ(p.clock->Now() - before, 5010u);
                EXPECT_EQ(Ask(ipmi, 6, 0x59, {0x00}, 4).bytes, (Bytes{0, 0xBB}));

                answer = Ask(ipmi, 0x30, 0xAA, {3}, 5);
                EXPECT_EQ(answer.status, EFI_DEVICE_ERROR);
                EXPECT_EQ(answer.bytes, Bytes{2}) << "a failure may carry bytes";
                answer = Ask(ipmi, 0, 8, {5}, 7);
                EXPECT_EQ(answer.status, EFI_TIMEOUT);
                EXPECT_EQ(answer.size, 0);
                answer = Ask(ipmi, 0x2E, 0x01, {}, 8);
                EXPECT_EQ(answer.status, EFI_SUCCESS);
                EXPECT_EQ(answer.bytes, Bytes{0xC1});
                EXPECT_EQ(Ask(ipmi, 0, 9, {}, 0).status, EFI_SUCCESS) << "no room: status only";

                EXPECT_EQ(p.Get<IpmiTransport>().Requests().size(), 9u);
                EXPECT_EQ(p.Get<IpmiTransport>().Requests()[4].data, Bytes{0});
            });
    EXPECT_EQ(Traced("ipmi")[1], R"({"netfn":6,"lun":0,"command":89,"request":"00D90000",)"
                                 R"("response":"00010203","status":"EFI_SUCCESS"})");
    EXPECT_TRUE(violations.empty());
}

TEST_F(Controllers, ControllerThatDoesNotStartLeavesNoTransport) {
    PowerOn(R"("controller": {"initializeStatus": "EFI_NOT_READY",
                              "installIpmiStatus": "EFI_DEVICE_ERROR"})",
            [&](Platform& p) {
                auto* initialize = Find<KelmNimborInitializeProtocol>(p);
                EXPECT_EQ(initialize->Initialize(initialize), EFI_NOT_READY);
                auto* installer = Find<KelmNimborInstallIpmiProtocol>(p);
                EXPECT_EQ(installer->InstallIpmi(installer), EFI_DEVICE_ERROR);
                EXPECT_EQ(Find<KelmIpmiTransportProtocol>(p), nullptr);
            });
}

TEST_F(Controllers, SecureBootTaskWaitsUntilItIsCarriedOut) {
    const std::string waiting = R"("controller": {"secureBootPending": true})";
    for (const bool process : {false, true}) {
        PowerOn(waiting, [&](Platform& p) {
            auto* manager = Find<NimborSecureBootMgmtProtocol>(p);
            EXPECT_EQ(manager->GetPendingTask(manager), TRUE);
            EXPECT_EQ(manager->ProcessTask(manager, process ? TRUE : FALSE), EFI_SUCCESS);
            EXPECT_EQ(manager->GetPendingTask(manager), process ? FALSE : TRUE);
        });
    }
    const auto pending = [&](const std::string& sections) {
        BOOLEAN answer = 0xFF;
        PowerOn(sections, [&](Platform& p) {
            auto* manager = Find<NimborSecureBootMgmtProtocol>(p);
            answer = manager->GetPendingTask(manager);
        });
        return answer;
    };
    EXPECT_EQ(pending(waiting), FALSE) << "carried out at an earlier power-on";
    server.store = NvStore();
    EXPECT_EQ(pending(waiting), TRUE);
    EXPECT_EQ(pending(""), FALSE);
}

TEST_F(Controllers, SmaAnswersSingleAndMultipartRequests) {
    PowerOn(R"("controller": {"sma": [
        {"command": "0x8103", "response": "03 81 01 00 00 00 01"},
        {"command": "0x0018", "request": "41"},
        {"command": "0x009C", "request": "02 00", "response": "AA BB CC"},
        {"command": "0x009C", "status": "EFI_ABORTED"}]})",
            [&](Platform& p) {
                auto* sma = Find<KelmNimborSmaProtocol>(p);
                const auto send = [&](Bytes request, UINT16 room, UINT16& size) {
                    Bytes response(64, 0xEE);
                    size = room;
                    const EFI_STATUS status = sma->SendSmaIpmiCommand(
                        sma, request.data(), UINT16(request.size()), response.data(), &size);
                    EXPECT_EQ(response[room], 0xEE);
                    response.resize(EFI_ERROR(status) ? 0 : size);
                    return std::pair(status, response);
                };
                UINT16 size = 0;
                EXPECT_EQ(send({3, 0x81, 0, 0}, 7, size).second, (Bytes{3, 0x81, 1, 0, 0, 0, 1}));
                EXPECT_EQ(send({3, 0x81, 0, 0}, 6, size).first, EFI_BUFFER_TOO_SMALL);
                EXPECT_EQ(size, 7);
                EXPECT_EQ(send({0x18, 0, 1, 0, 0x41}, 7, size).second, (Bytes{0x18, 0, 0, 0, 0, 0}))
                    << "an entry without a response answers without data";
                EXPECT_EQ(send({0x18, 0, 1, 0, 0x42}, 7, size).first, EFI_UNSUPPORTED);
                EXPECT_TRUE(p.violations->All().empty());
                EXPECT_EQ(send({0x18, 0, 2, 0, 0x41}, 7, size).first, EFI_INVALID_PARAMETER);
                EXPECT_EQ(p.violations->All().size(), 1u) << "a header that lies is a driver's bug";

                const Bytes payload = {2, 0, 9};
                UINT8* response = nullptr;
                UINT32 length = 0;
                ASSERT_EQ(
                    sma->SendSmaIpmiMTCommand(sma, 0x9C, payload.data(), 3, &response, &length),
                    EFI_SUCCESS);
                EXPECT_EQ(Bytes(response, response + length), (Bytes{0xAA, 0xBB, 0xCC}));
                EXPECT_EQ(p.arena->FreePool(response), EFI_SUCCESS);
                EXPECT_EQ(sma->SendSmaIpmiMTCommand(sma, 0x9C, nullptr, 0, &response, &length),
                          EFI_ABORTED);
                EXPECT_TRUE(p.Get<SmaTransport>().Requests().back().multipart);
            });
}

} // namespace
} // namespace sim
