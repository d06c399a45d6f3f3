package com.vorlix.quen.wb;

/** What of a packed {@code CMSEncryptedData} tells why it was refused. The natives read messages themselves. */
final class CmsMessage {
    /** The additional data that fits into a message whatever else is in it. */
    static final int ROOM_FOR_AAD = 100;

    private static final int PADDING = 4;
    private static final int CONTENT = 9;
    private static final int PKCS7 = 8;
    private static final int ISO10126 = 9;
    private static final int VARINT = 0;
    private static final int BYTES = 2;
    private static final int[] FIXED_SIZES = {0, 8, 0, 0, 0, 4};

    boolean isPadded;
    long contentLength;

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
        for (int i = message.length - Gcm.TAG; i < message.length; i++) {
            bits |= message[i];
        }
        return bits == 0;
    }

    private void readField() throws WbkitException {
        long tag = readVarint();
        int type = (int) (tag & 7);
        long value = type == VARINT || type == BYTES ? readVarint() : 0;
        long length = type == BYTES ? value : type < FIXED_SIZES.length ? FIXED_SIZES[type] : -1;
        boolean group = type == 3 || type == 4;
        if (group || length < 0 || length > message.length - position) {
            throw noMessage();
        }
        position += (int) length;
        if (tag == (PADDING << 3 | VARINT)) {
            isPadded = value == PKCS7 || value == ISO10126;
        } else if (tag == (CONTENT << 3 | BYTES)) {
            contentLength = length;
        }
    }

    private long readVarint() throws WbkitException {
        long value = 0;
        for (int shift = 0; shift < 64 && position < message.length; shift += 7) {
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
