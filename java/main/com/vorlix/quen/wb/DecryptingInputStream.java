package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.io.IOException;
import java.io.InputStream;
import java.security.GeneralSecurityException;
import java.util.Objects;

/** Gives out what is decrypted piece by piece. A failure, also of the stream below, comes again at every
 * later read. */
abstract class DecryptingInputStream extends InputStream {
    final InputStream in;

    /** What was decrypted and nobody has read yet. */
    private byte[] text = {};
    private int position;
    private int limit;
    private boolean ended;
    private IOException failure;

    DecryptingInputStream(InputStream in) {
        this.in = Objects.requireNonNull(in, "in");
    }

    /** Decrypts the next piece and says {@link #put}, {@link #end} or both. */
    abstract void decryptMore() throws IOException, GeneralSecurityException;

    final void put(byte[] piece, int length) {
        Secrets.wipe(text);
        text = piece;
        position = 0;
        limit = length;
    }

    final void end() {
        ended = true;
    }

    @Override
    public int read() throws IOException {
        return isAtEnd() ? -1 : text[position++] & 0xff;
    }

    @Override
    public int read(@NonNull byte[] b) throws IOException { // older platforms do not name what is null
        return read(Objects.requireNonNull(b, "b"), 0, b.length);
    }

    @Override
    public int read(@NonNull byte[] b, int off, int len) throws IOException {
        Streams.checkRange(b, off, len);
        if (len == 0) {
            return 0;
        }
        if (isAtEnd()) {
            return -1;
        }
        int count = Math.min(len, available());
        System.arraycopy(text, position, b, off, count);
        position += count;
        return count;
    }

    @Override
    public int available() {
        return limit - position;
    }

    @Override
    public void close() throws IOException {
        Secrets.wipe(text);
        position = limit;
        failure = new IOException("The stream is closed.");
        in.close();
    }

    private boolean isAtEnd() throws IOException {
        while (failure == null && position == limit && !ended) {
            // What was read of the stream below is gone if this ends with an error, such as a lack of memory.
            failure = new IOException("A read failed before.");
            try {
                decryptMore();
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
