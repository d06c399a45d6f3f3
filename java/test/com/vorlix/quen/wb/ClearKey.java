package com.vorlix.quen.wb;

import com.vorlix.quen.wb.TestTables.Key;
import java.io.IOException;
import java.math.BigInteger;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.GeneralSecurityException;
import java.security.spec.AlgorithmParameterSpec;
import javax.crypto.Cipher;
import javax.crypto.Mac;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.IvParameterSpec;
import javax.crypto.spec.SecretKeySpec;

/** What the natives compute, computed with clear keys: by {@code javax.crypto}, and for SM4 by the openssl command. */
final class ClearKey {
    private ClearKey() {}

    /** A stream mode, without padding. */
    static byte[] encrypt(String mode, Key key, byte[] iv, byte[] input) {
        return key == Key.SM4 ? openssl("-e", mode, iv, input)
                : aes(Cipher.ENCRYPT_MODE, mode.substring(4), key, new IvParameterSpec(iv), new byte[0], input);
    }

    static byte[] decrypt(String mode, Key key, byte[] iv, byte[] input) {
        return key == Key.SM4 ? openssl("-d", mode, iv, input)
                : aes(Cipher.DECRYPT_MODE, mode.substring(4), key, new IvParameterSpec(iv), new byte[0], input);
    }

    static byte[] gcmEncrypt(Key key, byte[] iv, byte[] aad, byte[] input) {
        return aes(Cipher.ENCRYPT_MODE, "GCM", key, new GCMParameterSpec(128, iv), aad, input);
    }

    static byte[] hmac(byte[] message, byte[] key) {
        try {
            Mac mac = Mac.getInstance("HmacSHA256");
            mac.init(new SecretKeySpec(key, "HmacSHA256"));
            return mac.doFinal(message);
        } catch (GeneralSecurityException e) {
            throw new AssertionError(e);
        }
    }

    private static byte[] aes(int direction, String mode, Key key, AlgorithmParameterSpec iv, byte[] aad,
            byte[] input) {
        try {
            Cipher cipher = Cipher.getInstance("AES/" + mode + "/NoPadding");
            cipher.init(direction, new SecretKeySpec(TestTables.unhex(key.hex), "AES"), iv);
            if (aad.length != 0) {
                cipher.updateAAD(aad);
            }
            return cipher.doFinal(input);
        } catch (GeneralSecurityException e) {
            throw new AssertionError(e);
        }
    }

    private static byte[] openssl(String direction, String mode, byte[] iv, byte[] input) {
        try {
            Path in = Files.createTempFile("wbkit", ".in");
            Path out = Files.createTempFile("wbkit", ".out");
            Files.write(in, input);
            ProcessBuilder command = new ProcessBuilder("openssl", "enc", direction, "-nopad",
                    "-" + mode.toLowerCase().replace('_', '-'), "-in", in.toString(), "-out", out.toString(),
                    "-K", Key.SM4.hex, "-iv", String.format("%032x", new BigInteger(1, iv)));
            command.environment().remove("LD_PRELOAD"); // a sanitizer's, meant for the virtual machine alone
            int status = command.inheritIO().start().waitFor();
            byte[] output = Files.readAllBytes(out);
            Files.delete(in);
            Files.delete(out);
            if (status != 0) {
                throw new AssertionError("openssl ended with " + status);
            }
            return output;
        } catch (IOException | InterruptedException e) {
            throw new AssertionError(e);
        }
    }
}
