import com.vorlix.quen.wb.Credentials;
import com.vorlix.quen.wb.QuenProvider;
import com.vorlix.quen.wb.TableLibrary;
import com.vorlix.quen.wb.WbkitAndr;
import com.vorlix.quen.wb.WhiteboxKey;
import java.nio.charset.StandardCharsets;
import java.nio.file.Paths;
import java.security.Provider;
import java.security.Security;
import java.util.Arrays;
import javax.crypto.Cipher;
import javax.crypto.Mac;
import javax.crypto.spec.GCMParameterSpec;
import javax.crypto.spec.SecretKeySpec;

/**
 * An application that uses some natives of either class, and a provider that it does not name: LIBRARY TABLES CLASS...,
 * where the classes are those that others find by their names.
 */
public final class ShrunkProgram {
    private static final byte[] TEXT = {1, 2, 3};

    public static void main(String[] args) throws Exception {
        System.load(args[0]);
        Mac mac = Mac.getInstance("HmacSHA256");
        mac.init(new SecretKeySpec(TEXT, "HmacSHA256"));
        require(mac.doFinal(TEXT), WbkitAndr.hmac(TEXT, TEXT));

        TableLibrary.load(Paths.get(args[1]));
        byte[] ak = "jvm access key".getBytes(StandardCharsets.UTF_8);
        Credentials credentials = Credentials.fromAccessKey(ak, "com.example.jvm", "com.example.jvm.tests");
        WhiteboxKey key = TableLibrary.open("jvm", 1, credentials).key("k256");
        byte[] sealed = key.seal(TEXT, TEXT);
        require(TEXT, key.openMessage(key.sealMessage(TEXT, TEXT, TEXT))); // WbkitCms, bound by its name
        Security.addProvider(new QuenProvider());
        Cipher cipher = Cipher.getInstance("AES/GCM/NoPadding");
        cipher.init(Cipher.DECRYPT_MODE, key, new GCMParameterSpec(128, sealed, 0, 12));
        cipher.updateAAD(TEXT);
        require(TEXT, cipher.doFinal(sealed, 12, sealed.length - 12));
        credentials.destroy();

        int services = 0;
        for (String name : Arrays.asList(args).subList(2, args.length)) {
            Class<?> found = Class.forName(name);
            if (Provider.class.isAssignableFrom(found)) {
                Provider provider = (Provider) found.getConstructor().newInstance();
                for (Provider.Service service : provider.getServices()) {
                    service.newInstance(null);
                    services++;
                }
            }
        }
        System.out.println("natives work, " + (args.length - 2) + " classes found, " + services + " services made");
    }

    private static void require(byte[] expected, byte[] actual) {
        if (!Arrays.equals(expected, actual)) {
            throw new AssertionError("another result than without a shrinker");
        }
    }
}
