#pragma once

#include "framework/fennic/TraceFile.h"
#include "framework/zel/Trace.h"

namespace Fennic {

/// Composes the descriptor of a message, once per place:
///
///     Fennic::MsgDesc message(file, &messageId, "RxStatus.cpp", 42);
///     message << "Varnol::RxStatus::handle" << "():" << 42u;
///     message.finish();
///
/// Nothing is registered without finish().
class MsgDesc {
  public:
    /// @param file, messageId  where the message is registered, and where its identifier is stored;
    /// they outlive the composer
    /// @param sourceFileName  without folders; not copied
    /// @param line  counted from 1
    MsgDesc(TraceFile& file, MessageId* messageId, std::string_view sourceFileName, unsigned line)
        : file_(file)
        , messageId_(*messageId)
        , sourceFileName_(sourceFileName)
        , line_(line) {}

    /// Appends what a Zel::TraceStream takes. Throws std::bad_alloc.
    template <class Piece> MsgDesc& operator<<(Piece const& piece) {
        text_ << piece;
        return *this;
    }

    /// Registers the message and stores its identifier, unless it has one. Throws std::bad_alloc.
    void finish() { file_.messageIs(messageId_, text_.text(), sourceFileName_, line_); }

  private:
    TraceFile& file_;
    MessageId& messageId_;
    std::string_view sourceFileName_;
    unsigned line_;
    Zel::TraceStream text_;
};

} // namespace Fennic
