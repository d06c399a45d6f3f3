package com.vorlix.quen.wb;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.vorlix.quen.wb.TestTables.Key;
import java.io.ByteArrayInputStream;
import java.io.ByteArrayOutputStream;
import java.io.IOException;
import java.io.InputStream;
import java.io.OutputStream;
import java.util.Arrays;
import java.util.Random;
import javax.crypto.AEADBadTagException;
import javax.crypto.BadPaddingException;
import javax.crypto.IllegalBlockSizeException;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.EnumSource;
import org.junit.jupiter.params.provider.ValueSource;

/** Streams that encrypt and decrypt, and files in segments. */
class StreamsTest {
    private static final byte[] IV = TestTables.random(16, 1);
    private static final byte[] AAD = TestTables.bytes("name of the file");
    private static final int SEGMENT = Segments.TEXT + Gcm.TAG;
    private static final int HEADER = Segments.HEADER;

    private final WhiteboxKey key = TestTables.key(Key.AES_256);

    @ParameterizedTest
    @EnumSource(StreamMode.class)
    void streamsAreTheirModesInPieces(StreamMode mode) throws Exception {
        for (Padding padding : Padding.values()) {
            for (int length : new int[] {0, 1, 16, 100, StreamEngine.PIECE, StreamEngine.PIECE + 17}) {
                for (int piece : new int[] {1, 1000, StreamEngine.PIECE + 1}) {
                    String what = mode + ", " + padding + ", " + length + " bytes by " + piece;
                    byte[] plain = TestTables.random(length, length);
                    ByteArrayOutputStream sink = new ByteArrayOutputStream();
                    try (OutputStream out = new WhiteboxOutputStream(sink, key, mode, padding, IV)) {
                        copy(new ByteArrayInputStream(plain), out, piece, 3 * piece);
                    }
                    assertArrayEquals(plain, key.decrypt(mode, padding, IV, sink.toByteArray()), what);
                    InputStream halves = new ByteArrayInputStream(sink.toByteArray()) { // gives less than is asked for
                        @Override
                        public synchronized int read(byte[] b, int off, int len) {
                            return super.read(b, off, Math.min(len, StreamEngine.PIECE / 2 + 3));
                        }
                    };
                    InputStream in = new WhiteboxInputStream(halves, key, mode, padding, IV);
                    assertArrayEquals(plain, read(in, piece), what);
                }
            }
        }
    }

    /** With a flush behind every so many bytes. */
    private static void copy(InputStream in, OutputStream out, int piece, int flushed) throws IOException {
        byte[] buffer = new byte[piece];
        int since = 0;
        for (int count = in.read(buffer); count >= 0; count = in.read(buffer)) {
            if (piece == 1) {
                out.write(buffer[0]);
            } else {
                out.write(buffer, 0, count);
            }
            since += count;
            if (since > flushed && piece > 1) {
                out.flush();
                since = 0;
            }
        }
    }

    private static byte[] read(InputStream in, int piece) throws IOException {
        ByteArrayOutputStream all = new ByteArrayOutputStream();
        try (InputStream closed = in) {
            copy(closed, all, piece, Integer.MAX_VALUE);
            assertEquals(-1, closed.read());
        }
        return all.toByteArray();
    }

    @Test
    void failuresStay() throws Exception {
        byte[] noPadding = key.encrypt(StreamMode.CTR, Padding.NONE, IV, new byte[48]);
        Object[][] cases = {{noPadding, BadPaddingException.class},
            {Arrays.copyOf(noPadding, 47), IllegalBlockSizeException.class},
            {new byte[0], IllegalBlockSizeException.class}};
        for (Object[] wrong : cases) {
            InputStream in = new WhiteboxInputStream(new ByteArrayInputStream((byte[]) wrong[0]), key, StreamMode.CTR,
                    Padding.PKCS5, IV);
            assertStays(in, (Class<?>) wrong[1]);
        }
        for (boolean segmented : new boolean[] {false, true}) { // a sink that fails gets no end, and is closed
            int[] closed = {0};
            OutputStream full = new ByteArrayOutputStream(HEADER) {
                @Override
                public synchronized void write(byte[] b, int off, int len) {
                    if (len != HEADER) {
                        throw new IllegalStateException("full");
                    }
                }

                @Override
                public void close() {
                    closed[0]++;
                }
            };
            OutputStream out = segmented ? new SegmentedOutputStream(full, key, AAD)
                    : new WhiteboxOutputStream(full, key, StreamMode.CTR, Padding.PKCS5, IV);
            assertThrows(IllegalStateException.class, () -> out.write(new byte[1 << 20]));
            assertThrows(IOException.class, () -> out.write(1));
            out.close();
            out.close();
            out.flush(); // too late, which does no harm
            assertThrows(IOException.class, () -> out.write(1));
            assertEquals(1, closed[0]);
        }
    }

    @Test
    void errorsLeaveNoHoleAndNoWholeFile() throws Exception {
        byte[] file = seal(TestTables.random(3 * Segments.TEXT, 1), 100_000);
        boolean[] fails = {false};
        InputStream in = new SegmentedInputStream(new ByteArrayInputStream(file) {
            @Override
            public synchronized int read(byte[] b, int off, int len) {
                int count = super.read(b, off, len);
                if (fails[0]) { // after the bytes were taken
                    throw new OutOfMemoryError("for a test");
                }
                return count;
            }
        }, key, AAD);
        in.read();
        in.skip(Segments.TEXT - 1);
        fails[0] = true;
        assertThrows(OutOfMemoryError.class, in::read);
        fails[0] = false;
        assertThrows(IOException.class, in::read);

        ByteArrayOutputStream sink = new ByteArrayOutputStream();
        InputStream source = new ByteArrayInputStream(new byte[Segments.TEXT + 100]) {
            @Override
            public synchronized int read(byte[] b, int off, int len) {
                if (pos == count) { // no IOException
                    throw new IllegalStateException("for a test");
                }
                return super.read(b, off, len);
            }
        };
        assertThrows(IllegalStateException.class, () -> {
            try (SegmentedOutputStream out = new SegmentedOutputStream(sink, key, AAD)) {
                boolean whole = false;
                try { // as docs/segmented-files.md tells
                    copy(source, out, 1000, Integer.MAX_VALUE);
                    whole = true;
                } finally {
                    if (!whole) {
                        out.abandon();
                        assertThrows(IOException.class, () -> out.write(1));
                    }
                }
            }
        });
        assertThrows(IOException.class, () -> read(open(sink.toByteArray()), 1000));
    }

    private static void assertStays(InputStream in, Class<?> cause) {
        IOException first = assertThrows(IOException.class, () -> read(in, 1000));
        assertEquals(cause, first.getCause().getClass());
        assertThrows(IOException.class, in::read);
    }

    @ParameterizedTest
    @ValueSource(ints = {0, 1, Segments.TEXT - 1, Segments.TEXT, Segments.TEXT + 1, 3 * Segments.TEXT})
    void segmentedFilesAreAsDocumented(int length) throws Exception {
        byte[] plain = TestTables.random(length, length);
        byte[] file = seal(plain, 777);
        assertArrayEquals(plain, read(open(file), 4096));

        byte[] header = Arrays.copyOf(file, HEADER);
        assertArrayEquals(new byte[] {'Q', 'W', 'S', 1}, Arrays.copyOf(header, 4));
        ByteArrayOutputStream expected = new ByteArrayOutputStream();
        expected.write(header);
        int segments = Math.max(1, (length + Segments.TEXT - 1) / Segments.TEXT);
        for (int i = 0; i < segments; i++) {
            byte[] nonce = Arrays.copyOf(Arrays.copyOfRange(header, 4, HEADER), 12);
            nonce[11] = (byte) (2 * i + (i == segments - 1 ? 1 : 0));
            expected.write(ClearKey.gcmEncrypt(Key.AES_256, nonce, TestTables.concat(header, AAD),
                    Arrays.copyOfRange(plain, i * Segments.TEXT, Math.min(length, (i + 1) * Segments.TEXT))));
        }
        assertArrayEquals(expected.toByteArray(), file);
    }

    @Test
    void segmentedFilesNoticeEveryChange() throws Exception {
        byte[] plain = TestTables.random(3 * Segments.TEXT + 100, 1);
        byte[] file = seal(plain, 100_000);
        byte[] other = seal(plain, 100_000);
        int[] ends = {HEADER, HEADER + SEGMENT, HEADER + 2 * SEGMENT, HEADER + 3 * SEGMENT, file.length};
        Random random = new Random(1);
        for (int end : ends) { // cut, at a boundary and beside it
            for (int cut = end - 17; cut <= end + 17; cut++) {
                if (cut >= HEADER && cut < file.length) {
                    assertNotAuthentic(Arrays.copyOf(file, cut));
                }
            }
            assertNotAuthentic(TestTables.flip(file, 8 * Math.min(end, file.length - 1) + random.nextInt(8)));
        }
        assertNotAuthentic(Arrays.copyOf(file, file.length + 1));
        assertNotAuthentic(TestTables.flip(file, 8 * 5)); // the prefix
        for (int[] order : new int[][] {{1, 0, 2, 3}, {0, 1, 1, 2, 3}, {0, 2, 3}, {1, 2, 3}, {3}, {0, 1, 2, 3, 3}}) {
            ByteArrayOutputStream changed = new ByteArrayOutputStream();
            changed.write(file, 0, HEADER);
            for (int segment : order) {
                changed.write(file, ends[segment], ends[segment + 1] - ends[segment]);
            }
            assertNotAuthentic(changed.toByteArray());
        }
        byte[] mixed = file.clone();
        System.arraycopy(other, ends[1], mixed, ends[1], SEGMENT);
        assertNotAuthentic(mixed);
        assertStays(new SegmentedInputStream(new ByteArrayInputStream(file), key, IV), AEADBadTagException.class);
        for (byte[] noFile : new byte[][] {Arrays.copyOf(file, HEADER - 1), TestTables.flip(file, 24)}) {
            assertThrows(IOException.class, () -> open(noFile));
        }
    }

    /** And nothing but authentic text comes out before it is noticed. */
    private void assertNotAuthentic(byte[] file) throws Exception {
        InputStream in = open(file);
        byte[] plain = TestTables.random(3 * Segments.TEXT + 100, 1);
        ByteArrayOutputStream before = new ByteArrayOutputStream();
        IOException e = assertThrows(IOException.class, () -> copy(in, before, 1000, Integer.MAX_VALUE));
        assertEquals(AEADBadTagException.class, e.getCause().getClass());
        assertSame(e, assertThrows(IOException.class, in::read));
        assertTrue(before.size() < plain.length);
        assertArrayEquals(Arrays.copyOf(plain, before.size()), before.toByteArray());
    }

    private byte[] seal(byte[] plain, int piece) throws Exception {
        ByteArrayOutputStream sink = new ByteArrayOutputStream();
        try (OutputStream out = new SegmentedOutputStream(sink, key, AAD)) {
            copy(new ByteArrayInputStream(plain), out, piece, 10 * piece);
        }
        return sink.toByteArray();
    }

    private InputStream open(byte[] file) throws Exception {
        return new SegmentedInputStream(new ByteArrayInputStream(file), key, AAD);
    }
}
