package com.vorlix.quen.wb;

import java.util.Arrays;

/** Arrays that must not be left behind. */
final class Secrets {
    private Secrets() {}

    /** Overwrites these arrays, those that are not null. */
    static void wipe(byte[]... arrays) {
        for (byte[] array : arrays) {
            if (array != null) {
                Arrays.fill(array, (byte) 0);
            }
        }
    }

    /** Writes an array, or a part of it before it throws. */
    interface Writer<E extends Exception> {
        void write(byte[] array) throws E;
    }

    /** A new array that is wiped unless its writer comes to the end. */
    static <E extends Exception> byte[] written(int length, Writer<E> writer) throws E {
        byte[] array = new byte[length];
        boolean done = false;
        try {
            writer.write(array);
            done = true;
            return array;
        } finally {
            if (!done) {
                wipe(array);
            }
        }
    }
}
