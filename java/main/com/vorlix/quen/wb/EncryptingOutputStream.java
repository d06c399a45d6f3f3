package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.io.IOException;
import java.io.OutputStream;
import java.security.GeneralSecurityException;
import java.util.Objects;

/**
 * Encrypts what is written piece by piece. A full piece waits until more comes, since it may be the last one. After a
 * failure nothing more is written.
 */
abstract class EncryptingOutputStream extends OutputStream {
    final OutputStream out;

    private final byte[] text;
    private int filled;
    private boolean failed;
    private boolean closed;

    EncryptingOutputStream(OutputStream out, int pieceSize) {
        this.out = Objects.requireNonNull(out, "out");
        this.text = new byte[pieceSize];
    }

    /** Encrypts the first bytes of the array, which is full unless this is the last piece or was flushed. */
    abstract void encrypt(byte[] piece, int length, boolean last) throws IOException, GeneralSecurityException;

    @Override
    public void write(int b) throws IOException {
        write(new byte[] {(byte) b}, 0, 1);
    }

    @Override
    public void write(@NonNull byte[] b) throws IOException { // older platforms do not name what is null
        write(Objects.requireNonNull(b, "b"), 0, b.length);
    }

    @Override
    public void write(@NonNull byte[] b, int off, int len) throws IOException {
        Streams.checkRange(b, off, len);
        requireOpen();
        requireNoFailure();
        for (int done = 0; done < len;) {
            if (filled == text.length) {
                encryptPiece(false);
            }
            int count = Math.min(text.length - filled, len - done);
            System.arraycopy(b, off + done, text, filled, count);
            filled += count;
            done += count;
        }
    }

    @Override
    public void flush() throws IOException {
        if (!closed) { // so that whoever wraps this stream may flush late
            out.flush();
        }
    }

    @Override
    @SuppressWarnings("try") // the resource is there to be closed
    public void close() throws IOException {
        if (closed) {
            return;
        }
        closed = true;
        try (OutputStream closedAlways = out) {
            if (!failed) {
                encryptPiece(true);
            }
        } finally {
            Secrets.wipe(text);
        }
    }

    /** Encrypts and writes what waits. */
    final void encryptWaiting() throws IOException {
        if (!closed) {
            requireNoFailure();
            encryptPiece(false);
        }
    }

    /** Acts from now on as after a failure. */
    final void giveUp() {
        failed = true;
        Secrets.wipe(text);
    }

    private void requireOpen() throws IOException {
        if (closed) {
            throw new IOException("The stream is closed.");
        }
    }

    private void requireNoFailure() throws IOException {
        if (failed) {
            throw new IOException("A write failed before, or the text was given up.");
        }
    }

    private void encryptPiece(boolean last) throws IOException {
        failed = true; // unless what follows succeeds
        try {
            encrypt(text, filled, last);
        } catch (GeneralSecurityException e) {
            throw Streams.failure(e);
        }
        filled = 0;
        failed = false;
    }
}
