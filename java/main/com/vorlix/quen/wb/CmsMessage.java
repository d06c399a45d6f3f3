package com.vorlix.quen.wb;

import java.util.Arrays;

/**
 * What a decryption in a stream mode takes of a packed {@code CMSEncryptedData} (Protocol Buffers). The natives read
 * messages themselves; this refuses what they refuse.
 */
final class CmsMessage {
    /** The additional data that fits into a message whatever else is in it. */
    static final int ROOM_FOR_AAD = 100;

    private static final int VARINT = 0;
    private static final int BYTES = 2;
    /** The sizes of values by their types; of groups there are none, and {@link #BYTES} tell theirs. */
    private static final int[] SIZES = {0, 8, -1, -1, -1, 4};
    /** The types of the known fields, by their numbers. */
    private static final int[] TYPES = {-1, BYTES, VARINT, VARINT, VARINT, BYTES, BYTES, BYTES, BYTES, BYTES};
    private static final int PADDING = 4;
    private static final int IV = 6;
    private static final int TAG = 8;
    private static final int CONTENT = 9;
    /** The most bytes that numbers may have: those of a field and of a length, and others. */
    private static final int SHORT = 5;
    private static final int LONG = 10;
    /** In a message, a padding is this number plus that by which the natives know it. */
    private static final int NO_PADDING = 7;

    Padding padding = Padding.NONE;
    /** A whole block: cut, or extended with zeros, if the message has another. */
    byte[] iv = new byte[StreamEngine.BLOCK];
    byte[] content = {};

    private final byte[] message;
    private int position;

    private CmsMessage(byte[] message) {
        this.message = message;
    }

    static CmsMessage of(byte[] message) throws WbkitException {
        CmsMessage fields = new CmsMessage(message);
        while (fields.position < message.length) {
            fields.readField();
        }
        return fields;
    }

    /**
     * Whether a message that the GCM encryption made has no content: then its last field is the tag, of zeros. The
     * content ends in the tag, which is not all zeros.
     */
    static boolean endsWithoutContent(byte[] message) {
        int bits = 0;
        for (int i = Math.max(0, message.length - Gcm.TAG); i < message.length; i++) {
            bits |= message[i];
        }
        return bits == 0 && message.length >= Gcm.TAG;
    }

    private void readField() throws WbkitException {
        if ((message[position] & 0xf8) == 0) { // field 0, as far as a tag of one byte goes
            throw noMessage();
        }
        long tag = readVarint(SHORT);
        int type = (int) (tag & 7);
        long number = tag >>> 3;
        long value = type == VARINT ? readVarint(LONG) : type == BYTES ? readVarint(SHORT) : 0;
        long length = type == BYTES ? value : type < SIZES.length ? SIZES[type] : -1;
        boolean otherType = number > 0 && number < TYPES.length && type != TYPES[(int) number];
        boolean tooLong = length > message.length - position || (number == TAG && length > Gcm.TAG);
        if (otherType || length < 0 || tooLong) {
            throw noMessage();
        }
        if (number == PADDING) {
            padding = paddingOf((int) value);
        } else if (number == IV) {
            iv = Arrays.copyOf(bytes(length), StreamEngine.BLOCK);
        } else if (number == CONTENT) {
            content = bytes(length);
        }
        position += (int) length;
    }

    private byte[] bytes(long length) {
        return Arrays.copyOfRange(message, position, position + (int) length);
    }

    /** Whatever else stands there means none. */
    private static Padding paddingOf(int number) {
        for (Padding padding : Padding.values()) {
            if (NO_PADDING + padding.number() == number) {
                return padding;
            }
        }
        return Padding.NONE;
    }

    private long readVarint(int mostBytes) throws WbkitException {
        long value = 0;
        for (int shift = 0; shift < 7 * mostBytes && position < message.length; shift += 7) {
            byte next = message[position++];
            value |= (next & 0x7fL) << shift;
            if (next >= 0) {
                return value;
            }
        }
        throw noMessage();
    }

    private static WbkitException noMessage() {
        return new WbkitException("These bytes are no packed CMSEncryptedData. Pass a whole message, as it was made.");
    }
}
