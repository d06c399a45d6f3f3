package com.vorlix.quen.wb;

import java.io.IOException;
import java.security.GeneralSecurityException;
import java.util.Arrays;

/** The text that a stream has decrypted and nobody has read yet. A failure comes again at every later read. */
final class Decrypted {
    /** Puts more into it, or says that there is no more. */
    interface Source {
        void fill(Decrypted target) throws IOException, GeneralSecurityException;
    }

    private final Source source;
    private byte[] bytes = {};
    private int position;
    private int limit;
    private boolean ended;
    private IOException failure;

    Decrypted(Source source) {
        this.source = source;
    }

    void put(byte[] text, int length) {
        bytes = text;
        position = 0;
        limit = length;
    }

    void end() {
        ended = true;
    }

    void close() {
        Arrays.fill(bytes, (byte) 0);
        position = limit;
        failure = new IOException("The stream is closed.");
    }

    int available() {
        return limit - position;
    }

    int read() throws IOException {
        return isAtEnd() ? -1 : bytes[position++] & 0xff;
    }

    int read(byte[] b, int off, int len) throws IOException {
        Streams.checkRange(b, off, len);
        if (len == 0) {
            return 0;
        }
        if (isAtEnd()) {
            return -1;
        }
        int count = Math.min(len, available());
        System.arraycopy(bytes, position, b, off, count);
        position += count;
        return count;
    }

    private boolean isAtEnd() throws IOException {
        while (failure == null && position == limit && !ended) {
            // What was read of the source is gone if this ends with an error, such as a lack of memory.
            failure = new IOException("A read failed before.");
            try {
                source.fill(this);
                failure = null;
            } catch (GeneralSecurityException e) {
                failure = Streams.failure(e);
            } catch (IOException e) {
                failure = e;
            }
        }
        if (failure != null) {
            throw failure;
        }
        return position == limit;
    }
}
