package com.vorlix.quen.wb;

import androidx.annotation.NonNull;
import java.io.EOFException;
import java.io.IOException;
import java.io.InputStream;
import java.security.GeneralSecurityException;
import java.security.InvalidKeyException;
import java.util.Arrays;
import java.util.Objects;

/**
 * Decrypts what {@link SegmentedOutputStream} wrote and nobody has changed, in constant memory. Every byte that it
 * returns is authentic and in its place; that the text is whole is certain when the end is reached, so act on it only
 * then. One thread at a time.
 *
 * <p>A changed, cut or extended file, a wrong key and wrong additional data are an {@link IOException} whose cause is
 * an {@link javax.crypto.AEADBadTagException}; another refusal of the library is its cause likewise. Every later read
 * throws it again, and likewise a failure of the stream below.
 */
public final class SegmentedInputStream extends DecryptingInputStream {
    private final Segments segments;
    private final byte[] sealed = new byte[Segments.TEXT + Gcm.TAG];
    /** The byte behind a segment, which tells that it is not the last one; -1 if there is none. */
    private int next;

    /**
     * A stream that decrypts. It reads the header of the file.
     *
     * @param in where the file comes from; it is closed with this stream
     * @param key the key of the encryption
     * @param aad its additional data
     * @throws InvalidKeyException if the key is not one of AES
     * @throws IOException if the header cannot be read, or is that of another file
     */
    public SegmentedInputStream(@NonNull InputStream in, @NonNull WhiteboxKey key, @NonNull byte[] aad)
            throws InvalidKeyException, IOException {
        super(in);
        Gcm.requireAes(Objects.requireNonNull(key, "key"));
        Objects.requireNonNull(aad, "aad");
        byte[] header = new byte[Segments.HEADER];
        if (fill(header, 0) < header.length) {
            throw new EOFException("The file is shorter than the header of a segmented file. Get all of it.");
        }
        this.segments = Segments.read(key, header, aad);
        this.next = in.read();
    }

    @Override
    void decryptMore() throws IOException, GeneralSecurityException {
        int length = 0;
        if (next >= 0) {
            sealed[0] = (byte) next;
            length = fill(sealed, 1);
            next = length == sealed.length ? in.read() : -1;
        }
        boolean last = next < 0;
        byte[] text = segments.open(length == sealed.length ? sealed : Arrays.copyOf(sealed, length), last);
        put(text, text.length);
        if (last) {
            end();
        }
    }

    /** Reads until the array is full or nothing is left; returns how full it is. */
    private int fill(byte[] array, int from) throws IOException {
        int length = from;
        for (int count = 0; count >= 0 && length < array.length; length += Math.max(0, count)) {
            count = in.read(array, length, array.length - length);
        }
        return length;
    }
}
