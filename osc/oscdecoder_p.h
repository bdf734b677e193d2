#pragma once

#include "oscdecoder.h"

#include <initializer_list>

// The decoder's class, shared by its walk over the packet (oscdecoder.cpp) and its failure
// paths, which build the error texts (oscdecoderfailures.cpp).
namespace Osc {

namespace Decoding {

// What an argument of each tag takes: a fixed byte count, or a size read from its bytes.
inline constexpr qint8 kUnknownTag = -1;
inline constexpr qint8 kStringTag = -2;
inline constexpr qint8 kBlobTag = -3;

struct TagSizes
{
    qint8 of[256];

    constexpr TagSizes() : of{}
    {
        for (qint8 &size : of)
            size = kUnknownTag;
        for (const char tag : {'T', 'F', 'N', 'I'})
            of[int(tag)] = 0;
        for (const char tag : {'i', 'f', 'c', 'r', 'm'})
            of[int(tag)] = 4;
        for (const char tag : {'h', 'd', 't'})
            of[int(tag)] = 8;
        of[int('s')] = of[int('S')] = kStringTag;
        of[int('b')] = kBlobTag;
    }
};
// Not inline: each file reads its own copy at a fixed address rather than through the GOT.
constexpr TagSizes kTagSizes;

// Member by member: a whole OscField built aside and copied in would be read back as wider
// words than its byte members were written with, which stalls the copy.
inline void set(OscField &field, OscField::Kind kind, qint32 offset, qint32 size, quint8 depth, char tag = 0)
{
    field.offset = offset;
    field.size = size;
    field.kind = kind;
    field.tag = tag;
    field.depth = depth;
}

// What a string or its padding belongs to, for the error texts: the address, the type tag
// string, or argument `number` (from 1). Texts are built only when decoding fails.
struct Where
{
    const char *name;
    qint32 number = 0;

    QString text() const;
};

// "1 byte", "12 bytes".
QString byteCount(qint64 count);

} // namespace Decoding

// Reads one packet into `out`. Every read stays inside [begin, end) of the element being
// decoded, and each element lies inside the datagram: no byte past its end is ever read.
class OscDecoder
{
public:
    OscDecoder(const QByteArray &datagram, OscPacket &out, OscDecodeError *error)
        : m_data(datagram.constData()), m_out(out), m_error(error)
    {
        m_out.data = datagram;
        m_out.isBundle = false;
        m_out.messages.m_size = 0;
        m_out.fields.m_size = 0;
    }

    // The walk and its helpers below: inline, defined in oscdecoder.cpp, the one file that
    // calls them.
    inline bool packet(qsizetype datagramSize);

private:
    using Where = Decoding::Where;

    inline bool isBundle(qint32 begin, qint32 end) const;
    inline bool bundle(qint32 begin, qint32 end, int depth);
    inline bool message(qint32 begin, qint32 end, int depth, OscTimeTag timeTag);
    inline qint32 findNul(qint32 at, qint32 end) const;
    inline qint32 padding(qint32 begin, qint32 nul, qint32 end, const Where &where);
    inline bool zeros(qint32 from, qint32 to, const Where &where);
    inline qint32 sizeFromContent(char tag, qint32 number, qint32 at, qint32 end);

    void add(OscField::Kind kind, qint32 offset, qint32 size, quint8 depth)
    {
        Decoding::set(*m_out.fields.room(1), kind, offset, size, depth);
        ++m_out.fields.m_size;
    }

    // The failure paths, out of the decoding path: defined in oscdecoderfailures.cpp.
    // fail(QString) and failed() cannot throw (a QString copy cannot): with noexcept, their
    // callers need no unwinding code for the temporaries around the call.
    Q_DECL_COLD_FUNCTION bool unknownTagFirst(qint32 from, qint32 to, qsizetype headAt);
    Q_DECL_COLD_FUNCTION bool keepHead(std::initializer_list<qint32> bounds, quint8 depth);
    Q_DECL_COLD_FUNCTION qint32 paddingCut(qint32 nul, qint32 to, qint32 end, const Where &where);
    Q_DECL_COLD_FUNCTION bool nonZero(qint32 from, const Where &where);
    Q_DECL_COLD_FUNCTION qint32 truncated(char tag, qint32 number, qint32 at, qint32 end, qint64 needed);
    Q_DECL_COLD_FUNCTION bool fail(qint32 offset, const QString &reason) noexcept;
    Q_DECL_COLD_FUNCTION Q_NEVER_INLINE bool fail(qint32 offset, const char *reason);
    Q_DECL_COLD_FUNCTION Q_NEVER_INLINE bool failWithCount(qint32 offset, const char *reason, qint64 count);
    Q_DECL_COLD_FUNCTION Q_NEVER_INLINE bool failWithChar(qint32 offset, const char *reason, char c);
    Q_DECL_COLD_FUNCTION qint32 failed(qint32 offset, const QString &reason) noexcept;

    const char *m_data;
    OscPacket &m_out;
    OscDecodeError *m_error;
};

} // namespace Osc
