#include "sim/firmware/InstructionDecoder.h"

#include <cstring>

namespace sim {

namespace {

constexpr int kRegisters[16] = {REG_RAX, REG_RCX, REG_RDX, REG_RBX, REG_RSP, REG_RBP,
                                REG_RSI, REG_RDI, REG_R8,  REG_R9,  REG_R10, REG_R11,
                                REG_R12, REG_R13, REG_R14, REG_R15};
constexpr unsigned kRsp = 4;
constexpr unsigned kRbp = 5;
constexpr unsigned kRax = 0;
constexpr unsigned kRdx = 2;

class Decoder {
public:
    explicit Decoder(const mcontext_t& context)
        : context_(context), code_(reinterpret_cast<const UINT8*>(context.gregs[REG_RIP])) {}

    std::optional<Instruction> Decode() {
        UINT8 opcode = Next();
        while (opcode == 0x66 || (opcode & 0xF0) == 0x40) {
            if (opcode == 0x66)
                operandSize_ = true;
            rex_ = opcode == 0x66 ? 0 : opcode; // counts only right before the opcode
            if (length_ >= 8)
                return std::nullopt;
            opcode = Next();
        }
        const bool known = opcode == 0x0F ? TwoBytes(Next()) : OneByte(opcode);
        if (!known)
            return std::nullopt;
        found_.length = length_;
        // An address relative to the instruction pointer counts from the next instruction.
        if (ipRelative_)
            found_.address += reinterpret_cast<UINT64>(code_) + length_;
        return found_;
    }

private:
    using Kind = Instruction::Kind;

    UINT8 Next() { return code_[length_++]; }
    INT64 NextSigned(unsigned width) {
        INT32 value = 0;
        std::memcpy(&value, code_ + length_, width);
        length_ += width;
        return width == 1   ? static_cast<INT8>(value)
               : width == 2 ? static_cast<INT16>(value)
                            : value;
    }
    unsigned FullWidth() const { return (rex_ & 8) != 0 ? 8 : operandSize_ ? 2 : 4; }
    bool Plain(Kind kind) {
        found_.kind = kind;
        return true;
    }

    bool OneByte(UINT8 opcode) {
        const bool full = (opcode & 1) != 0; // else 8 bits
        switch (opcode) {
        case 0xE4:
        case 0xE5:
            return Port(Kind::In, full, Next());
        case 0xE6:
        case 0xE7:
            return Port(Kind::Out, full, Next());
        case 0xEC:
        case 0xED:
            return Port(Kind::In, full, ReadRegister(context_, kRdx, 2));
        case 0xEE:
        case 0xEF:
            return Port(Kind::Out, full, ReadRegister(context_, kRdx, 2));
        case 0x88:
        case 0x89:
            return Move(Kind::StoreRegister, full);
        case 0x8A:
        case 0x8B:
            return Move(Kind::Load, full);
        case 0xC6:
        case 0xC7:
            if (!Move(Kind::StoreImmediate, full) || modReg_ != 0)
                return false;
            found_.operand = static_cast<UINT64>(NextSigned(found_.width == 8 ? 4 : found_.width));
            return true;
        case 0xF4:
            return Plain(Kind::Halt);
        case 0xFA:
            return Plain(Kind::DisableInterrupts);
        case 0xFB:
            return Plain(Kind::EnableInterrupts);
        default:
            return false;
        }
    }

    bool TwoBytes(UINT8 opcode) {
        switch (opcode) {
        case 0x01:
            return Memory() && modReg_ == 7 && Plain(Kind::FlushTlb);
        case 0x08:
        case 0x09:
            return Plain(Kind::FlushCache);
        case 0x20:
            return Control(Kind::MoveFromControl);
        case 0x22:
            return Control(Kind::MoveToControl);
        case 0x30:
            return Plain(Kind::WriteMsr);
        case 0x32:
            return Plain(Kind::ReadMsr);
        default:
            return false;
        }
    }

    bool Port(Kind kind, bool full, UINT64 port) {
        found_.kind = kind;
        found_.width = full ? (operandSize_ ? 2 : 4) : 1;
        found_.reg = kRax;
        found_.operand = port;
        return true;
    }

    // These ignore the mode bits: the operand is always a register.
    bool Control(Kind kind) {
        const UINT8 modRm = Next();
        found_.kind = kind;
        found_.control = (modRm >> 3 & 7) | ((rex_ & 4) != 0 ? 8 : 0);
        found_.reg = (modRm & 7) | ((rex_ & 1) != 0 ? 8 : 0);
        found_.width = 8;
        return found_.control == 0 || (found_.control >= 2 && found_.control <= 4) ||
               found_.control == 8;
    }

    bool Move(Kind kind, bool full) {
        found_.kind = kind;
        found_.width = full ? FullWidth() : 1;
        if (!Memory())
            return false;
        found_.reg = modReg_ | ((rex_ & 4) != 0 ? 8 : 0);
        if (!full && rex_ == 0 && modReg_ >= 4) {
            found_.reg = modReg_ - 4;
            found_.highByte = true;
        }
        return true;
    }

    // Reads the mode byte and what belongs to it. False when the operand is not in memory.
    bool Memory() {
        const UINT8 modRm = Next();
        const unsigned mode = modRm >> 6;
        const unsigned rm = modRm & 7;
        modReg_ = modRm >> 3 & 7;
        if (mode == 3)
            return false;
        bool base = true;
        unsigned baseRegister = rm;
        UINT64 address = 0;
        if (rm == kRsp) {
            const UINT8 sib = Next();
            const unsigned index = (sib >> 3 & 7) | ((rex_ & 2) != 0 ? 8 : 0);
            baseRegister = sib & 7;
            if (index != kRsp)
                address += Register(index) << (sib >> 6);
        }
        if (baseRegister == kRbp && mode == 0) {
            base = false;
            ipRelative_ = rm == kRbp;
        }
        if (base)
            address += Register(baseRegister | ((rex_ & 1) != 0 ? 8 : 0));
        if (mode == 1)
            address += static_cast<UINT64>(NextSigned(1));
        else if (mode == 2 || !base)
            address += static_cast<UINT64>(NextSigned(4));
        found_.address = address;
        return true;
    }

    UINT64 Register(unsigned reg) const { return ReadRegister(context_, reg, 8); }

    const mcontext_t& context_;
    const UINT8* code_;
    unsigned length_ = 0;
    UINT8 rex_ = 0;
    bool operandSize_ = false;
    bool ipRelative_ = false;
    unsigned modReg_ = 0;
    Instruction found_ = {};
};

} // namespace

std::optional<Instruction> DecodeInstruction(const mcontext_t& context) {
    return Decoder(context).Decode();
}

UINT64 ReadRegister(const mcontext_t& context, unsigned reg, unsigned width, bool highByte) {
    const UINT64 whole = static_cast<UINT64>(context.gregs[kRegisters[reg]]);
    const UINT64 shifted = highByte ? whole >> 8 : whole;
    return width == 8 ? shifted : shifted & ((UINT64{1} << (8 * width)) - 1);
}

void WriteRegister(mcontext_t& context, unsigned reg, unsigned width, UINT64 value, bool highByte) {
    auto& slot = context.gregs[kRegisters[reg]];
    const unsigned shift = highByte ? 8 : 0;
    UINT64 mask = ~UINT64{0};
    if (width < 4)
        mask = ((UINT64{1} << (8 * width)) - 1) << shift;
    if (width == 4)
        value &= 0xFFFFFFFFu;
    slot = static_cast<greg_t>((static_cast<UINT64>(slot) & ~mask) | ((value << shift) & mask));
}

} // namespace sim
